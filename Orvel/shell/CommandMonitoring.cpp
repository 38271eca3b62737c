#include "Orvel/shell/CommandMonitoring.h"

#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/model/CommandInbox.h"
#include "Orvel/monitor/ClaudeEditorInspection.h"
#include "Orvel/monitor/InputState.h"
#include "Orvel/shell/DesktopConsent.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

#include <utility>

namespace orvel {

CommandMonitoring::CommandMonitoring(const ChangeSignal& changes, const Desktop& desktop, CommandInbox& inbox,
                                     const DesktopConsent& consent, const CommandMonitoringOptions& options)
    : desktop(desktop),
      options(options),
      reads(desktop.loop, desktop.accessibility, facts),
      inputMode(changes),
      keybindings(changes,
                  {desktop.loop, desktop.sideQueue, desktop.localFiles, desktop.settings, desktop.panels},
                  options.codexFolder),
      preparation(preparationChanges, {desktop.loop, desktop.accessibility, desktop.applications}),
      inputMethod(changes, {desktop.loop, desktop.accessibility, desktop.applications, desktop.inputSources}),
      japanese(changes,
               {desktop.loop, desktop.sideQueue, desktop.windows, desktop.applications, desktop.inputSources,
                [this](Agent agent) { return preparation.targetVersion(agent); },
                [this] { return keybindings.googleOriginalReturnFailureForUse(); }}),
      monitor(changes,
              {desktop.loop, desktop.accessibility, desktop.applications, desktop.inputSources, japanese,
               [this] { return lifecycle.isMonitoring(); },
               [this](Agent agent, ProcessID process) { return preparation.readyProcess(agent) == process; },
               [this](const CapturedReturn& captured, std::function<bool()> isWanted) {
                   return codex.identify(captured, std::move(isWanted));
               },
               [&inbox](const CapturedCommand& captured) { return inbox.keep(captured); }, options.clock}),
      codex({{desktop.loop, desktop.applications, desktop.inputSources, reads, facts, monitor.inputWatch(),
              japanese},
             desktop.accessibility,
             desktop.eventPosting,
             desktop.pasteboard,
             [this] { return lifecycle.isMonitoring(); },
             [this] { return preparation.targetVersion(Agent::codex); },
             [this] { return keybindings.copyAssessmentForUse(); },
             [&inbox](std::string id) { return inbox.resolveCopiedCodex(std::move(id)); }}),
      lifecycle(changes,
                {desktop.loop, desktop.keyboardTap, desktop.accessibility, desktop.applications, preparation,
                 [&consent] { return consent.mayWatch(); },
                 consent.isNeeded() ? sentencesOfOpenSession : sentencesOfGuardedSession},
                {.handle = [this](const TapEvent& event) { return monitor.handle(event); },
                 .stopped =
                     [this] {
                         monitor.forget();
                         japanese.stop();
                     },
                 .tick =
                     [this] {
                         inputMethod.stop(); // Monitoring goes on.
                         japanese.refresh();
                     },
                 .refreshed =
                     [this, &consent] {
                         if (consent.mayWatch()) updateInputMode();
                     }}) {
    monitor.onCommand = [this, &inbox](CapturedCommand captured) {
        onReceived();
        inbox.receiveInterceptedCommand(std::move(captured));
    };
    monitor.onFailure = [this](const auto& message, const auto& context) { onFailure(message, context); };
}

void CommandMonitoring::start() {
    lifecycle.startAutomaticMonitoring();
    keybindings.refreshDisplay();
}

SetupState CommandMonitoring::setupState() const {
    return {lifecycle.isAccessibilityGranted(), keybindings.display().canCopy};
}

void CommandMonitoring::recordInputMethod() {
    lifecycle.stop("Monitoring paused while input method states are recorded. Resume it when you are done.",
                   true);
    inputMethod.start();
}

void CommandMonitoring::updateInputMode() {
    const auto source = desktop.inputSources.current();
    auto text = inputModeWords(source);
    if (knownJapaneseSourceID(source)) text += "\n" + japanese.claudeDescription().text();
    text += "\nInput method identity (foreground app observation): " + describeInputSource(source).text();
    inputMode.update(std::move(text));
}

DiagnosticText CommandMonitoring::diagnosticReport() const {
    using DiagnosticSummary::observed;
    const auto& state = monitor.state();
    const auto monitoring = lifecycle.isMonitoring() ? FixedWords("Started") : FixedWords("Stopped");
    auto report =
        DiagnosticText::of("Orvel: {}\nTarget apps: Codex {}, Claude {}\nMonitoring: {} / Accessibility: {} "
                           "/ Input Monitoring: {}",
                           observed(options.version), observed(preparation.targetVersion(Agent::codex)),
                           observed(preparation.targetVersion(Agent::claude)), monitoring,
                           lifecycle.isAccessibilityGranted(), lifecycle.inputMonitoringPermission().granted);
    const auto add = [&report](DiagnosticPattern<DiagnosticText> pattern, const DiagnosticText& part) {
        report += DiagnosticText::of<DiagnosticText>(pattern, part);
    };
    add("\nRead preparation: {}", preparation.diagnostics());
    add("\nInput method: {}", describeInputSource(desktop.inputSources.current()));
    add("\nRemoval diagnostics: {}", state.removalDiagnostics);
    add("\nCodex keybindings: {}", keybindings.diagnostics());
    add("\nLast /orvel attempt:\n{}", state.lastCommandDiagnostics);
    add("\nLast key decision (including later input):\n{}", monitor.inputWatch().lastEvent());
    add("\n{}", state.diagnostics);
    add("\nJapanese Return: {}", state.japaneseAttempt);
    add("\nCodex conversation structure (not used for selection):\n{}", state.codexRoute);
    add("\nGoogle Japanese candidate window (anonymous; not used for composition decisions):\n{}",
        japanese.report());
    add("\nLatest Google candidate window observation (not used for decisions): {}", japanese.latest());
    add("\nInput method observations (explicit recording; no content):\n{}", inputMethod.history().report());
    add("\n{}", monitor.history().report(options.clock));
    return report;
}

DiagnosticText CommandMonitoring::diagnoseClaudeComposer() const {
    return inspectClaudeEditor(desktop.loop, desktop.accessibility, desktop.applications);
}

bool CommandMonitoring::copyDiagnostics() {
    desktop.pasteboard.clearContents();
    return desktop.pasteboard.setString(diagnosticReport().text());
}

} // namespace orvel
