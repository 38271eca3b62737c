#pragma once
// The application behind its windows: the objects that live as long as the process, their start in its order,
// and whether it may quit. It belongs to the main loop's thread.

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/ChatGPTConsultationModel.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/shell/CommandMonitoring.h"
#include "Orvel/shell/DesktopConsent.h"
#include "Orvel/shell/OrvelUpdateController.h"
#include "Orvel/shell/QuitRules.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// What the application has its windows show.
struct AppScreens {
    /// The setup of the typed command, for the first time.
    std::function<void()> showSetup = [] {};
    /// A typed command was stopped, and in which application: "2:03:22 PM / Codex / Return".
    std::function<void(const std::string& message, const std::string& context)> showFailure =
        [](const auto&, const auto&) {};
    /// A command was received, so that the failure of an earlier one is of no interest any more.
    std::function<void()> dismissFailure = [] {};
};

class OrvelApp {
  public:
    /// The ports outlive the application. `statePath` is as OrvelModel has it; `version` is this program's.
    OrvelApp(const Desktop& ports, const AgentFolders& folders, const std::string& statePath,
             ClockStyle clock, const std::string& version);

    /// To be set before `start`.
    AppScreens screens;

    /// Restores, discovers and begins to watch, and offers the setup where it has not been offered and is
    /// needed. To be called once, when the window is there.
    void start();

    /// Opens files and `orvel:` URLs that were handed over.
    void open(const std::vector<std::string>& items);

    /// Shows the main window with what a failed command has told.
    void showDetails(const std::string& failure);

    // The typed command

    /// Whether this platform can watch the keyboard at all. Without that there is no typed command.
    bool canMonitor() const;
    /// Whether a command was received since the start.
    bool hasReceivedCommand() const { return receivedCommand; }
    /// Lets the keyboard be watched from now on, or no more.
    void allowWatching(bool isAllowed);
    /// Brings the agent's application to the front, and tells if it can't.
    void openApplication(Agent agent);
    /// How times of day are written.
    const ClockStyle& clock() const { return clockStyle; }

    // What the person chooses once and for all

    /// As Outbox::allowClaudeCode; kept for the next runs.
    void allowClaudeCode(bool isAllowed);
    bool showsDeveloperTools() const { return developerTools; }
    void showDeveloperTools(bool isShown);

    // Quitting

    /// Told why the application may not quit, or nothing if it may.
    using QuitAnswer = std::function<void(std::optional<std::string_view> refusal)>;
    /// Saves what was typed last, waits a few seconds at most for what ends by itself, and answers, at once
    /// if nothing has to be waited for. Several may ask.
    void askToQuit(QuitAnswer answer);
    /// To be told that the application quits.
    void didAllowTermination() { monitoring.lifecycle.pause(); }

  private:
    Desktop ports;
    ClockStyle clockStyle;
    ClaudeRelayDiagnosticHistory attempts;
    ClaudeDesktopRelaySender claude;
    ChatGPTOperations chatGPTOperations;
    ChatGPTBrowserSender chatGPT;

  public:
    OrvelModel model;
    ChatGPTConsultationModel consultation;
    DesktopConsent consent;
    CommandMonitoring monitoring;
    OrvelUpdateController updates;

  private:
    QuitState quitState() const;
    Task<void> launch(Agent agent);
    Task<void> decide(QuitAnswer answer);
    void offerSetup();

    Observable<bool> developerTools, receivedCommand;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
