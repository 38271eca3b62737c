#pragma once
// A switch of the desktop, and the memory of whether Orvel turned it on: only then it turns it off again.

#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/runtime/Task.h"

#include <string_view>

namespace orvel {

class Settings;

class OwnedSwitch {
  public:
    using Reading = DesktopSwitch::Reading;

    /// The settings and the switch, if there is one, outlive this object; under the key they keep the memory.
    OwnedSwitch(Settings& settings, DesktopSwitch* owned, std::string_view key)
        : settings(settings), owned(owned), key(key) {}

    bool exists() const { return owned != nullptr; }
    Task<Reading> read();
    /// Whether Orvel turned on what was read.
    bool isOurs(const Reading& reading) const;

    /// Turns it on if it was read as off, and remembers that.
    Task<void> turnOn(Reading before);
    /// Turns it off if Orvel turned it on. What that came to is unknown where it can't be read afterwards,
    /// and then it stays remembered.
    Task<void> turnOff();
    /// Remembers what another switch of Orvel's has turned on with itself.
    void claim(const Reading& reading);

  private:
    void forget();

    Settings& settings;
    DesktopSwitch* owned;
    std::string_view key;
};

} // namespace orvel
