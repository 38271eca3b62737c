#pragma once
// Whether the desktop is light or dark, and when that changes.

#include <functional>
#include <memory>

namespace orvel {

class SystemAppearance {
  public:
    /// `changed` is called with whether the desktop is dark: once soon after the start if the desktop says
    /// so, and again whenever the person changes it. Where the desktop says nothing, it is never called.
    explicit SystemAppearance(std::function<void(bool isDark)> changed);
    ~SystemAppearance();

    /// Whether Qt's own palette is a dark one: what is known before the desktop has spoken.
    static bool paletteIsDark();

  private:
    class Portal;
    std::unique_ptr<Portal> portal;
};

} // namespace orvel
