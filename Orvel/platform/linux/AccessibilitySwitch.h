#pragma once
// The two switches by which programs of a Linux desktop expose their windows: the one of the running session,
// on its bus, and the setting that GTK's desktops keep for later sessions.

#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <string>

namespace orvel {

/// "IsEnabled" of org.a11y.Status, as at-spi2-core documents it. Programs look at it as they start.
class SessionAccessibilitySwitch : public DesktopSwitch {
  public:
    static constexpr std::chrono::seconds patience{2};

    /// The loop outlives this object. An empty address is the one of the person's own session.
    explicit SessionAccessibilitySwitch(MainLoop& loop, std::string sessionAddress = {})
        : loop(loop), sessionAddress(std::move(sessionAddress)) {}

    /// Where the accessibility bus isn't running, it is off. Its run is the identifier of the session's bus.
    Task<Reading> read() override;
    Task<void> turn(bool isOn) override;

  private:
    MainLoop& loop;
    std::string sessionAddress;
};

/// "toolkit-accessibility" of org.gnome.desktop.interface, by the command gsettings.
class KeptAccessibilitySwitch : public DesktopSwitch {
  public:
    /// Both outlive this object.
    KeptAccessibilitySwitch(MainLoop& loop, Processes& processes) : loop(loop), processes(processes) {}

    /// Missing where there is no such command or no such setting.
    Task<Reading> read() override;
    Task<void> turn(bool isOn) override;

  private:
    MainLoop& loop;
    Processes& processes;
};

} // namespace orvel
