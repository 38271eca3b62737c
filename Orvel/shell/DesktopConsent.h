#pragma once
// What the person allows Orvel to do with the desktop, where no system asks for it: to watch the keyboard, to
// turn accessibility on, to start with the session. Nothing of it happens before a yes, and what Orvel has
// switched on, and nothing else, it switches off again.

#include "Orvel/desktop/DesktopSession.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "Orvel/runtime/Turns.h"
#include "Orvel/shell/OwnedSwitch.h"

namespace orvel {

class Settings;

/// How a switch stands, as far as it was last looked at.
struct SwitchStanding {
    DesktopSwitch::State state = DesktopSwitch::State::unknown;
    bool isOurs = false;    ///< Orvel turned it on, and turns it off when asked to.
    bool isBusy = false;    ///< It is being turned.
    bool hasFailed = false; ///< The last turn came to nothing, as far as can be told.

    bool operator==(const SwitchStanding&) const = default;
};

/// Belongs to the main loop's thread.
class DesktopConsent {
  public:
    /// All of it outlives this object.
    DesktopConsent(const ChangeSignal& changes, MainLoop& loop, Settings& settings,
                   const DesktopSession& session);

    SessionKind sessionKind() const { return session.kind; }
    /// Whether it is for Orvel to ask.
    bool isNeeded() const { return session.kind == SessionKind::x11; }

    /// Whether the keyboard may be watched. Kept for the next runs.
    bool mayWatch() const { return !isNeeded() || watches; }
    void allowWatching(bool isAllowed);

    const SwitchStanding& accessibility() const { return accessibilityStanding; }
    const SwitchStanding& autostart() const { return autostartStanding; }
    bool canStartWithSession() const { return autostartSwitch.exists(); }

    /// Turns accessibility on in this session and, where the desktop keeps such a setting, in later ones; or
    /// off, as far as Orvel turned it on. Where it is off at a later start, that turns it on again.
    void turnAccessibility(bool isOn);
    void turnAutostart(bool isOn);

    /// Does again what the person has allowed and a new session has forgotten; touches nothing else.
    void start();
    /// Looks how the switches stand, for display.
    void refresh();

  private:
    Task<void> changeAccessibility(bool isOn);
    Task<void> changeAutostart(bool isOn);
    Task<void> restore();
    Task<void> look();
    Task<void> lookAtAccessibility();
    Task<void> lookAtAutostart();

    Settings& settings;
    const DesktopSession& session;
    OwnedSwitch sessionSwitch, loginSwitch, autostartSwitch;
    Turns turns;
    Observable<bool> watches;
    Observable<SwitchStanding> accessibilityStanding, autostartStanding;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
