#pragma once
// What the person is told of the state of monitoring, which depends on who asks them for leave: the system,
// or Orvel itself.

namespace orvel {

struct MonitoringSentences {
    const char* notAllowed;      ///< The person has not switched it on.
    const char* notTrusted;      ///< The editors can't be read yet.
    const char* noLongerTrusted; ///< The same, while it ran.
    const char* refused;         ///< The tap could not be made.
    const char* working;
    const char* tapStopped; ///< By something outside Orvel.
};

/// Where the system grants the permissions.
inline constexpr MonitoringSentences sentencesOfGuardedSession{
    .notAllowed = "Monitoring is not switched on.",
    .notTrusted = "Grant accessibility permission. Monitoring will start automatically.",
    .noLongerTrusted = "Waiting for accessibility permission. Monitoring will resume automatically when "
                       "access is restored.",
    .refused = "Couldn't start monitoring. Check accessibility permission. If needed, open Input Monitoring "
               "Settings. Restart Orvel if monitoring still fails after changing permissions.",
    .working = "Enter /orvel in a Codex / Claude editor and press Return or ⌘Return to open Orvel.",
    .tapStopped = "macOS stopped monitoring. Check permissions and resume monitoring."};

/// Where Orvel asks by itself, and the modifier is Control.
inline constexpr MonitoringSentences sentencesOfOpenSession{
    .notAllowed = "Orvel doesn't watch the keyboard until you allow it.",
    .notTrusted = "Accessibility is off on this desktop, so that no editor can be read. Turn it on under "
                  "Command in the settings; monitoring then starts by itself.",
    .noLongerTrusted = "Accessibility was turned off, or doesn't answer. Monitoring resumes by itself when "
                       "it is back.",
    .refused = "Couldn't start monitoring: the X server didn't let Orvel hold Return. Another program may "
               "hold it already. Quit that program, then resume monitoring. Nothing was changed.",
    .working = "Enter /orvel in a Codex / Claude editor and press Return or Ctrl+Return to open Orvel.",
    .tapStopped = "Monitoring stopped: the connection to the X server broke, or the keyboard was changed "
                  "so that Return can't be held. All keys pass. Resume monitoring; if that doesn't help, "
                  "restart Orvel."};

} // namespace orvel
