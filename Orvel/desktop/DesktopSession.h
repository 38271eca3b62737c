#pragma once
// The session on whose desktop this program runs, and what a person can have it switch there.

#include "Orvel/runtime/Task.h"

#include <string>

namespace orvel {

/// Of what kind a session is, as far as it decides what works in it.
enum class SessionKind {
    guarded,    ///< The system asks the person before a program reads windows or listens to keys.
    x11,        ///< Nobody asks the person unless this program does.
    wayland,    ///< No program sees another one's keys or reaches its windows.
    noDisplay,  ///< There is none, or it doesn't answer.
    unsupported ///< This program was built without what it takes.
};

/// Something of the desktop that is on or off.
class DesktopSwitch {
  public:
    enum class State { off, on, unknown, missing };
    struct Reading {
        State state = State::unknown;
        /// Which run of the session it belongs to; empty if it outlives the session.
        std::string run;
    };

    virtual ~DesktopSwitch() = default;

    /// Changes nothing, and starts nothing. Ends within seconds. Belongs to the main loop's thread, as
    /// `turn`.
    virtual Task<Reading> read() = 0;
    /// Asks for the change; a later `read` tells what became of it. Ends within seconds.
    virtual Task<void> turn(bool isOn) = 0;
};

/// The switches outlive it; those that the desktop doesn't have are null.
struct DesktopSession {
    SessionKind kind = SessionKind::guarded;
    DesktopSwitch* accessibility = nullptr;        ///< Of this session.
    DesktopSwitch* accessibilityAtLogin = nullptr; ///< Of the person's later sessions.
    DesktopSwitch* autostart = nullptr;            ///< Whether this program starts with the session.
};

} // namespace orvel
