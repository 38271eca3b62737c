#pragma once
// The typed command as a whole: the tap, the agents' editors, and what catches a command there, connected
// with each other and with the model that takes it.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/monitor/CodexIdentification.h"
#include "Orvel/monitor/CodexKeybindingSettings.h"
#include "Orvel/monitor/DesktopCommandMonitor.h"
#include "Orvel/monitor/EditorPreparation.h"
#include "Orvel/monitor/GoogleJapaneseInput.h"
#include "Orvel/monitor/IMEObserver.h"
#include "Orvel/monitor/MonitoringLifecycle.h"

#include <functional>
#include <string>

namespace orvel {

class CommandInbox;
class DesktopConsent;

struct CommandMonitoringOptions {
    ClockStyle clock;        ///< For times in diagnostics.
    std::string version;     ///< Of this program, for diagnostics.
    std::string codexFolder; ///< Where Codex's keybindings usually lie.
};

/// What a person has to do before commands work everywhere.
struct SetupState {
    bool accessibilityGranted = false;
    bool codexCaptureReady = false; ///< The conversation's address can be copied.
};

/// Belongs to the main loop's thread.
class CommandMonitoring {
  public:
    /// The ports, the inbox, the consent and the signal outlive it.
    CommandMonitoring(const ChangeSignal& changes, const Desktop& desktop, CommandInbox& inbox,
                      const DesktopConsent& consent, const CommandMonitoringOptions& options);

    /// Told why a Return on a command was stopped, and of which one.
    std::function<void(const std::string& message, const std::string& context)> onFailure =
        [](const auto&, const auto&) {};
    /// A command was taken: what was told of one before is settled.
    std::function<void()> onReceived = [] {};

    /// Starts with the permissions that there are, and goes with them from now on.
    void start();

    /// Whether no command is being worked off.
    bool isIdle() const { return monitor.isIdle(); }

    /// As the keybindings were when they were last looked at for display.
    SetupState setupState() const;
    /// What commands mean with the input method that is selected, in sentences for the person.
    const std::string& inputModeDescription() const { return inputMode; }

    /// Records the input method's states for a minute, for which monitoring is paused.
    void recordInputMethod();

    /// All that is known of the last Returns and of what they met, without content.
    DiagnosticText diagnosticReport() const;
    /// What a Return would meet in Claude's editor now, without content. Holds the thread for 160 ms at most.
    DiagnosticText diagnoseClaudeComposer() const;
    /// Puts the report on the clipboard; false if that takes nothing.
    bool copyDiagnostics();

  private:
    void updateInputMode();

    Desktop desktop;
    CommandMonitoringOptions options;
    DiagnosticFacts facts;
    TimedReads reads;
    Observable<std::string> inputMode;

  public:
    /// Told of the preparation alone, whose countdown changes every second.
    ChangeSignal preparationChanges;
    CodexKeybindingSettings keybindings;
    EditorPreparation preparation;
    IMEObserver inputMethod;

  private:
    GoogleJapaneseInput japanese;

  public:
    DesktopCommandMonitor monitor;

  private:
    CodexIdentification codex;

  public:
    MonitoringLifecycle lifecycle;
};

} // namespace orvel
