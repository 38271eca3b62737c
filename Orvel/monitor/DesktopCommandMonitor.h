#pragma once
// Sees every key of the desktop before other programs do, and catches the Return of a command that was typed
// in an agent's editor. The command is removed there and handed over; everything else passes untouched.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/monitor/CaptureFailure.h"
#include "Orvel/monitor/CodexIdentification.h"
#include "Orvel/monitor/CommandErasure.h"
#include "Orvel/monitor/InputWatch.h"
#include "Orvel/monitor/ReturnDecider.h"
#include "Orvel/runtime/Observable.h"
#include "OrvelCore/commands/CapturedCommand.h"
#include "OrvelCore/histories/ReturnDiagnosticHistory.h"

#include <functional>
#include <memory>
#include <string>

namespace orvel {

struct CommandMonitorState {
    explicit CommandMonitorState(const ChangeSignal& changes)
        : status(changes),
          diagnostics(changes),
          lastCommandDiagnostics(changes),
          commandRemovalDescription(changes, std::string("Not attempted")),
          removalDiagnostics(changes, DiagnosticText("Not attempted")),
          japaneseAttempt(changes, DiagnosticText("Not attempted")),
          codexRoute(changes, DiagnosticText("Not attempted")) {}

    Observable<std::string> status;                    ///< One line for the person.
    Observable<DiagnosticText> diagnostics;            ///< Of the last Return, without content.
    Observable<DiagnosticText> lastCommandDiagnostics; ///< What the last commands came to.
    Observable<std::string> commandRemovalDescription; ///< What became of the last command's text.
    Observable<DiagnosticText> removalDiagnostics;     ///< The same, with the results of its steps.
    Observable<DiagnosticText> japaneseAttempt;        ///< What the candidate window came to for it.
    Observable<DiagnosticText> codexRoute;             ///< How Codex named its conversation.
};

/// What a monitor works with; all of it outlives the monitor.
struct CommandMonitorNeeds {
    MainLoop& loop;
    Accessibility& accessibility;
    Applications& applications;
    InputSources& inputSources;
    GoogleJapaneseInput& japanese;
    std::function<bool()> isMonitoring;
    /// Whether the editor of the agent's application, which runs as this process, is proved to be readable.
    std::function<bool(Agent, ProcessID)> isPrepared;
    /// Tells which conversation a command stands in that was typed in Codex. Throws CaptureFailure; gives
    /// nothing once the command is not wanted any more. The argument outlives the task.
    std::function<Task<std::optional<IdentifiedCodex>>(const CapturedReturn&, std::function<bool()>)>
        identifyCodex;
    /// Keeps the command where it outlives this program; awaited before anything is removed. May throw.
    std::function<Task<void>(CapturedCommand)> keep;
    ClockStyle clock; ///< For times in diagnostics.
};

/// Belongs to the main loop's thread.
class DesktopCommandMonitor {
  public:
    DesktopCommandMonitor(const ChangeSignal& changes, CommandMonitorNeeds needs);

    /// Takes the commands. Without anybody who does, no command's Return passes, and none is lost.
    std::function<void(CapturedCommand)> onCommand;
    /// Told why a Return on a command was stopped, and of which one: "2:03:22 PM / Codex / Return".
    std::function<void(const std::string& message, const std::string& context)> onFailure =
        [](const auto&, const auto&) {};
    /// The handler of the tap, for all events but those that say something of the tap itself.
    TapAnswer handle(const TapEvent& event);

    /// Forgets what was swallowed, and every command that is being worked off.
    void forget();

    const CommandMonitorState& state() const { return held; }
    const ReturnDiagnosticHistory& history() const { return returns; }
    const InputWatch& inputWatch() const { return input; }
    /// How many calls to other programs were made.
    std::uint64_t calls() const { return reads.calls(); }

    /// Whether no command is being worked off.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    TapAnswer handleReturn(const TapEvent& event, const RunningApplication& application, Agent agent,
                           MainLoop::Duration sinceInput);
    void record(const TapEvent& event, Agent agent, const ReturnDecision& decision,
                const std::string& attemptID, MainLoop::Duration elapsed);
    void append(const TapEvent& event, Agent agent, ReturnDiagnosticHistory::Event facts,
                const std::optional<DiagnosticText>& details);
    void beginAttempt(const std::string& id, const ReturnDecision& decision);
    EditorNeeds editorNeeds();
    Task<void> reportLater(std::string captureID, Agent agent, DiagnosticText reason);
    Task<void> observeConfirmation(CapturedReturn confirmed);
    /// One command. A Return that is pressed again on its text, while it is being worked off, is the same.
    struct CommandAtWork {
        std::string text;
        bool isHandedOver = false;
    };
    std::shared_ptr<CommandAtWork> atWork(const CapturedReturn& captured);
    Task<void> workOff(CapturedReturn captured, std::shared_ptr<CommandAtWork> work);
    void complete(const CapturedReturn& captured, const ErasedCommand& erased,
                  std::optional<CapturedConversationIdentity> identity);
    void reportFailure(const std::string& captureID, Agent agent, const DiagnosticText& message,
                       const DiagnosticText& details);

    CommandMonitorNeeds needs;
    CommandMonitorState held;
    DiagnosticFacts facts;
    TimedReads reads;
    InputWatch input;
    MainLoop::Duration lastInput{}; ///< When a key or button went down last, as uptime.
    ReturnDiagnosticHistory returns;
    std::string captureID; ///< Of the last Return on a command; a newer one ends the work on it.
    std::weak_ptr<CommandAtWork> lastWork;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
