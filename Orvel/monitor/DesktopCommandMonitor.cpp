#include "Orvel/monitor/DesktopCommandMonitor.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/runtime/Random.h"

namespace orvel {

namespace {

ReturnEventPhase phaseOf(const TapEvent& event) {
    if (event.type == TapEventType::keyUp) return ReturnEventPhase::keyUp;
    return event.isRepeat ? ReturnEventPhase::keyRepeat : ReturnEventPhase::keyDown;
}

} // namespace

DesktopCommandMonitor::DesktopCommandMonitor(const ChangeSignal& changes, CommandMonitorNeeds monitorNeeds)
    : needs(std::move(monitorNeeds)),
      held(changes),
      reads(needs.loop, needs.accessibility, facts),
      input(needs.applications.ownProcess()),
      tasks([this](const auto&) { held.status = "The command could not be worked off. It was not sent."; }) {}

// Every key of the desktop waits for this: what is no Return costs a few comparisons.
TapAnswer DesktopCommandMonitor::handle(const TapEvent& event) {
    if (event.marker == EventPosting::marker) return TapAnswer::pass;
    const auto swallowedFor = input.suppressedSource();
    if (input.swallows(event)) {
        if (swallowedFor)
            append(event, *swallowedFor,
                   {.outcome = DiagnosticText("Suppressed repeated events for the captured Return")},
                   std::nullopt);
        return TapAnswer::swallow;
    }
    const auto sinceInput = needs.loop.uptime() - lastInput;
    if (event.type != TapEventType::keyUp) lastInput += sinceInput;
    const bool isKey = event.type == TapEventType::keyDown || event.type == TapEventType::keyUp;
    if (!isKey || !needs.isMonitoring() || !KeyCode::isReturn(event.keyCode)) return TapAnswer::pass;
    const auto application = needs.applications.frontmost();
    const auto agent = application ? OrvelCommandPolicy::source(application->bundleID) : std::nullopt;
    if (!agent) return TapAnswer::pass;
    if (phaseOf(event) != ReturnEventPhase::keyDown) {
        append(event, *agent, {.outcome = DiagnosticText("Passed through without additional AX reads")},
               std::nullopt);
        return TapAnswer::pass;
    }
    return handleReturn(event, *application, *agent, sinceInput);
}

TapAnswer DesktopCommandMonitor::handleReturn(const TapEvent& event, const RunningApplication& application,
                                              Agent agent, MainLoop::Duration sinceInput) {
    const auto started = needs.loop.uptime();
    const FreshReturn fresh{.event = event,
                            .application = application,
                            .agent = agent,
                            .attemptID = randomUUID(),
                            .isPrepared = needs.isPrepared(agent, application.process),
                            .hasReceiver = static_cast<bool>(onCommand),
                            .sinceInput = sinceInput};
    facts.clear();
    auto decision = decideReturn(editorNeeds(), fresh);
    if (decision.input == ReturnInputClassification::command) beginAttempt(fresh.attemptID, decision);
    using enum ReturnDecision::Kind;
    const bool isSwallowed = decision.kind == stop || decision.kind == capture;
    if (isSwallowed) input.suppress(event, agent);
    if (decision.reason) {
        held.commandRemovalDescription = decision.reason->text();
        held.status = decision.reason->text();
        tasks.start(reportLater(fresh.attemptID, agent, *decision.reason));
    }
    record(event, agent, decision, fresh.attemptID, needs.loop.uptime() - started);
    if (decision.kind == capture) {
        held.commandRemovalDescription = "Checking the original editor and removing the command.";
        const auto work = atWork(*decision.captured);
        tasks.start(workOff(*std::move(decision.captured), work));
    } else if (decision.captured) {
        tasks.start(observeConfirmation(*std::move(decision.captured)));
    }
    return isSwallowed ? TapAnswer::swallow : TapAnswer::pass;
}

// A newer attempt ends what is being done for the one before.
void DesktopCommandMonitor::beginAttempt(const std::string& id, const ReturnDecision& decision) {
    captureID = id;
    held.commandRemovalDescription = "This Return: Removal not attempted";
    held.removalDiagnostics = DiagnosticText("This Return: Not attempted");
    held.codexRoute = DiagnosticText("This Return: Public copy not attempted");
    auto attempt = DiagnosticText::of("attempt={}, time={} / No Shift conversion or replay",
                                      DiagnosticText::uuid(id), DiagnosticText::moment(needs.loop.now()));
    attempt += decision.japanese;
    held.japaneseAttempt = std::move(attempt);
}

EditorNeeds DesktopCommandMonitor::editorNeeds() {
    return {needs.loop, needs.applications, needs.inputSources, reads, facts, input, needs.japanese};
}

void DesktopCommandMonitor::record(const TapEvent& event, Agent agent, const ReturnDecision& decision,
                                   const std::string& attemptID, MainLoop::Duration elapsed) {
    const auto details = DiagnosticText::of("\nElapsed: {}ms\n{}",
                                            DiagnosticText::milliseconds(secondsOf(elapsed)), facts.text());
    append(event, agent, {.attemptID = attemptID, .input = decision.input, .outcome = decision.line},
           decision.input == ReturnInputClassification::command ? std::optional(details) : std::nullopt);
    held.lastCommandDiagnostics = returns.commandSummary(needs.clock);
    auto all = decision.line;
    all += details;
    held.diagnostics = all;
    facts.clear();
}

void DesktopCommandMonitor::append(const TapEvent& event, Agent agent, ReturnDiagnosticHistory::Event noted,
                                   const std::optional<DiagnosticText>& details) {
    if (noted.attemptID.empty()) noted.attemptID = randomUUID();
    noted.timestamp = needs.loop.now();
    noted.source = agent;
    noted.keyCode = event.keyCode;
    noted.phase = phaseOf(event);
    noted.modifiers = returnModifiers(event.flags);
    returns.append(std::move(noted), details);
}

Task<void> DesktopCommandMonitor::reportLater(std::string id, Agent agent, DiagnosticText reason) {
    co_await needs.loop.yield();
    reportFailure(id, agent, reason, {});
}

// For diagnostics: what the input method has made of the Return that was left to it.
Task<void> DesktopCommandMonitor::observeConfirmation(CapturedReturn confirmed) {
    constexpr std::chrono::milliseconds delay{50}, budget{50};
    co_await needs.loop.sleep(delay);
    if (captureID != confirmed.id) co_return;
    const OpenBudget open(reads, budget);
    const auto focused = reads.element(reads.application(confirmed.process), "AXFocusedUIElement");
    const auto text = focused == confirmed.editor ? reads.string(confirmed.editor, "AXValue") : std::nullopt;
    FixedWords readback = "Different text (content not recorded)";
    if (text == confirmed.text)
        readback = "Same text as captured (content not recorded)";
    else if (text && confirmsRemoval(removalReadback(text, confirmed.text)))
        readback = "Whitespace or line breaks only";
    auto attempt = held.japaneseAttempt.get();
    attempt += text ? DiagnosticText::of("\nAfter original Return: {}, activation/removal/copy not attempted",
                                         readback)
                    : DiagnosticText("\nAfter original Return: Unreadable (diagnostics only)");
    held.japaneseAttempt = std::move(attempt);
    facts.clear();
}

std::shared_ptr<DesktopCommandMonitor::CommandAtWork>
DesktopCommandMonitor::atWork(const CapturedReturn& captured) {
    auto work = lastWork.lock();
    if (!work || work->text != captured.text)
        work = std::make_shared<CommandAtWork>(CommandAtWork{.text = captured.text});
    lastWork = work;
    return work;
}

// Behind the key: what follows may take its time.
Task<void> DesktopCommandMonitor::workOff(CapturedReturn captured, std::shared_ptr<CommandAtWork> work) {
    co_await needs.loop.yield();
    const auto isWanted = [this, id = captured.id] { return captureID == id; };
    if (!isWanted()) co_return;
    const std::function<bool()> wanted = isWanted;
    std::optional<CapturedConversationIdentity> identity;
    if (captured.codeContext) identity = ClaudeDesktopID{captured.codeContext->desktopSessionID};
    if (captured.agent == Agent::codex) {
        std::optional<CaptureFailure> failure;
        try {
            if (auto found = co_await needs.identifyCodex(captured, wanted)) {
                held.codexRoute = std::move(found->route);
                identity = std::move(found->reference);
            }
        } catch (const CaptureFailure& failed) {
            failure = failed;
        }
        if (failure) {
            held.codexRoute = failure->details();
            co_return reportFailure(captured.id, captured.agent, failure->message(), failure->details());
        }
        if (!identity) co_return;
    }
    std::optional<CaptureFailure> unsaved;
    const CapturedCommand uncertain{
        .command = captured.command, .source = captured.agent, .identity = identity};
    try {
        co_await needs.keep(uncertain);
    } catch (const std::exception&) {
        unsaved.emplace(DiagnosticText("Couldn't save the instructions. /orvel was kept without sending."));
    }
    if (!isWanted()) co_return;
    if (unsaved) co_return reportFailure(captured.id, captured.agent, unsaved->message(), {});
    const CommandErasureNeeds erasure{editorNeeds(), needs.accessibility, needs.isMonitoring};
    auto erased = co_await eraseCommand(erasure, captured);
    facts.clear();
    // What was erased is nowhere else, so a newer Return does not end the work on it.
    if (!isWanted() && (!erased.wasWriteAttempted || erased.isStillThere)) co_return;
    if (work->isHandedOver) co_return;
    if (!isWanted()) erased.isOriginConfirmed = false;
    // Codex's conversation is known by where the text stands, and what an input method may have pending by
    // what stands there. What moved before it was removed may stand anywhere.
    const bool mustBeWritten = captured.agent == Agent::codex || captured.japaneseSelection;
    if (mustBeWritten && !erased.wasWriteAttempted) {
        const auto stopped =
            erased.mayBeComposing
                ? FixedWords("Couldn't recheck Japanese input. Command removal and handoff stopped.")
                : FixedWords("Couldn't recheck input state. Command removal and handoff stopped.");
        held.status = std::string(stopped.view());
        co_return reportFailure(captured.id, captured.agent, stopped, erased.diagnostics);
    }
    work->isHandedOver = true;
    complete(captured, erased, std::move(identity));
}

// The instructions are handed over whatever became of the text, so that none are lost.
void DesktopCommandMonitor::complete(const CapturedReturn& captured, const ErasedCommand& erased,
                                     std::optional<CapturedConversationIdentity> identity) {
    const bool isCleared = erased.outcome == CommandRemovalOutcome::cleared;
    DiagnosticText became = description(erased.outcome);
    if (isCleared && !erased.isOriginConfirmed)
        became += DiagnosticText(" Command removal in the original conversation could not be rechecked. "
                                 "Opening a preview without automatic sending.");
    auto removal = erased.diagnostics;
    removal += DiagnosticText::of(" / Source conversation verified for automatic sending={}",
                                  erased.isOriginConfirmed);
    const auto received = DiagnosticText::of("{} /orvel received. ", captured.agent);
    held.removalDiagnostics = removal;
    auto all = held.diagnostics.get();
    all += DiagnosticText::of("\n{} Command removal: {}", captured.agent, removal);
    held.diagnostics = all;
    held.commandRemovalDescription = became.text();
    held.status = received.text();
    returns.finish(captured.agent, captured.id, DiagnosticText::of("{} {}", received, became), removal);
    held.lastCommandDiagnostics = returns.commandSummary(needs.clock);

    CapturedCommand command{.command = captured.command,
                            .source = captured.agent,
                            .identity = std::move(identity),
                            .isRemoved = isCleared && erased.isOriginConfirmed};
    if (onCommand) onCommand(std::move(command));
}

void DesktopCommandMonitor::reportFailure(const std::string& id, Agent agent, const DiagnosticText& message,
                                          const DiagnosticText& details) {
    if (id != captureID) return;
    returns.finish(agent, id, message, details);
    held.lastCommandDiagnostics = returns.commandSummary(needs.clock);
    const auto attempt = returns.commandAttempts().find(agent);
    const auto context =
        attempt == returns.commandAttempts().end()
            ? DiagnosticText(agent)
            : DiagnosticText::of("{} / {} / {}",
                                 DiagnosticText::timeOfDay(attempt->second.event.timestamp, needs.clock),
                                 agent, attempt->second.event.keyDescription());
    held.status = message.text();
    onFailure(message.text(), context.text());
}

void DesktopCommandMonitor::forget() {
    input.reset();
    captureID.clear();
}

} // namespace orvel
