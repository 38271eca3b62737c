#include "Orvel/monitor/ReturnDecider.h"

#include "Orvel/monitor/CandidateEvidence.h"
#include "Orvel/monitor/EditorRecognition.h"
#include "Orvel/monitor/GoogleJapaneseInput.h"
#include "Orvel/monitor/InputState.h"
#include "OrvelCore/composers/DiagnosticSummary.h"

#include <utility>

namespace orvel {

namespace {

using Kind = ReturnDecision::Kind;

/// From the key to the decision; a later one might come behind the key, which the system passes by then.
constexpr MainLoop::Duration latestCapture = std::chrono::milliseconds(180);

DiagnosticText modifierNames(ReturnModifiers modifiers) {
    struct Name {
        int bit;
        FixedWords word;
    };
    static constexpr Name names[] = {{ReturnModifiers::command, "Command"},
                                     {ReturnModifiers::control, "Control"},
                                     {ReturnModifiers::option, "Option"},
                                     {ReturnModifiers::shift, "Shift"},
                                     {ReturnModifiers::function, "Fn"}};
    DiagnosticText text;
    for (const auto& [modifier, name] : names) {
        if (!modifiers.contains(modifier)) continue;
        if (!text.text().empty()) text += DiagnosticText("+");
        text += DiagnosticText(name);
    }
    return text.text().empty() ? DiagnosticText("None") : text;
}

// One decision, in the order of its steps. Each look gives nothing, or the end.
class Decider {
  public:
    Decider(const EditorNeeds& needs, const FreshReturn& fresh)
        : needs(needs), fresh(fresh), started(needs.loop.uptime()) {}

    ReturnDecision decide() {
        const auto modifiers = returnModifiers(fresh.event.flags);
        needs.facts.add(DiagnosticText::of(
            "Key: {} / keyDown / repeat=false",
            fresh.event.keyCode == KeyCode::returnKey ? FixedWords("Return") : FixedWords("Keypad Enter")));
        needs.facts.add(DiagnosticText::of("Modifiers: {}", modifierNames(modifiers)));
        const auto shortcut = returnShortcut(modifiers);
        if (!shortcut) return pass("{} / Only Return and ⌘Return supported / Passed through to original app");
        if (!fresh.isPrepared) return pass("{} / Editor read preparation: Incomplete / Return: Pass through");

        needs.reads.open();
        needs.reads.awaitShown(fresh.sinceInput); // Else the text could lack its last letters.
        const auto focused = focusedEditor();
        if (!focused) return pass("{} / Focused editor: Unreadable / Return: Pass through");
        needs.reads.bound(*focused);
        const auto text = needs.reads.string(*focused, "AXValue");
        input = ReturnInputClassification::unavailable;
        if (!text) return pass("{} / Full input could not be read as text / Return: Pass through");
        input = classifyInput(*text);
        needs.facts.add(DiagnosticText::of("Input: {}", DiagnosticSummary::input(input)));
        auto command = OrvelCommand::parse(*text);
        if (input != ReturnInputClassification::command || !command) return passOther(*focused);
        return decideCommand(*shortcut, *focused, *text, *std::move(command));
    }

  private:
    ReturnDecision decideCommand(OrvelReturnShortcut shortcut, const AXElement& focused,
                                 const std::string& text, OrvelCommand command) {
        const auto found = recognizeEditor(needs.reads, needs.facts, focused, fresh.agent);
        const bool isValid = found.isKnown() && !needs.reads.hasFailed();
        switch (commandEntryDisposition(true, shortcut, found.recognition, isValid)) {
        case CommandEntryDisposition::forward: {
            auto line = found.line;
            line += DiagnosticText(" / Unsupported editor: Passed through to original app");
            return end(Kind::pass, line);
        }
        case CommandEntryDisposition::stop:
            return stop("Couldn't verify the conversation editor. Input was kept without sending. Check "
                        "Orvel diagnostics.");
        case CommandEntryDisposition::inspect: break;
        }

        if (knownJapaneseSourceID(needs.inputSources.current())) needs.japanese.observe();
        const auto sourceAtReturn = describeInputSource(needs.inputSources.current());
        needs.facts.addSurely(DiagnosticText::of("Input method at Return: {}", sourceAtReturn));
        const auto composition = readComposition(needs.reads, needs.facts, needs.inputSources, focused);
        if (shortcut == OrvelReturnShortcut::command && composition.state == CompositionState::composing)
            return stop("Couldn't verify composition confirmation. Confirm composition before pressing "
                        "⌘Return. Input is kept.");
        auto captured = capture(focused, text, std::move(command), found.codeContext);
        if (isForCandidates(composition, captured)) return decideByCandidates(shortcut, std::move(captured));
        const bool isComposing = composition.state == CompositionState::composing;
        const auto mayConfirm = [&] {
            return composition.isToldByInputMethod || !needs.japanese.incompatibility(fresh.agent);
        };
        switch (commandReturnDecision({.composition = composition.state,
                                       .shortcut = shortcut,
                                       .allowsCompositionConfirmation = isComposing && mayConfirm()})) {
        case CommandReturnDecision::probeLineBreak: // Never asked for.
        case CommandReturnDecision::stop:
            return stop("Couldn't verify whether composition is pending. /orvel was kept without normal "
                        "sending.");
        case CommandReturnDecision::confirmComposition: return confirm(captured, composition, sourceAtReturn);
        case CommandReturnDecision::capture: break;
        }
        const auto window = focusedWindow();
        if (!window || !isStillThere(captured) || !mayBeginWork())
            return stop("Couldn't recheck the editor and app before activation. Input was kept without "
                        "normal sending.");
        captured.window = *window;
        return end(
            DiagnosticText::of(
                "{} / Conversation editor: Match / Input method: Confirmed / Return: Suppressed; show Orvel",
                fresh.agent),
            std::move(captured));
    }

    CapturedReturn capture(const AXElement& focused, const std::string& text, OrvelCommand command,
                           const std::optional<CodeCaptureContext>& context) {
        const auto source = needs.inputSources.current();
        return {.id = fresh.attemptID,
                .agent = fresh.agent,
                .command = std::move(command),
                .text = text,
                .editor = focused,
                .window = focused, // Until the window is read.
                .process = fresh.application.process,
                .codeContext = context,
                .inputGeneration = needs.input.generation(),
                .inputSourceID = source ? source->id : std::nullopt};
    }

    // The plain Return belongs to the input method, provided that it has the same text pending as before.
    ReturnDecision confirm(const CapturedReturn& captured, const CompositionReading& composition,
                           const DiagnosticText& sourceAtReturn) {
        const bool isSameText = isStillThere(captured) &&
                                needs.reads.string(captured.editor, "AXValue") == captured.text &&
                                describeInputSource(needs.inputSources.current()) == sourceAtReturn;
        const auto again = readComposition(needs.reads, needs.facts, needs.inputSources, captured.editor);
        const bool isSameMark = again.state == CompositionState::composing &&
                                !isNothing(composition.marked) && again.marked == composition.marked;
        if (!isSameText || !isSameMark || needs.reads.hasFailed())
            return stop("Couldn't recheck input immediately before composition confirmation. Input was kept "
                        "without sending.");
        return end(Kind::confirm, DiagnosticText::of("{} / Composition rechecked / Return: Passed through to "
                                                     "confirm composition (Orvel not opened)",
                                                     fresh.agent));
    }

    // Web views tell nothing of what Google Japanese Input has pending, but its candidate window does.
    bool isForCandidates(const CompositionReading& composition, const CapturedReturn& captured) {
        return composition.isUntold() && !needs.reads.hasFailed() &&
               (fresh.agent == Agent::codex || captured.codeContext) &&
               knownJapaneseSourceID(needs.inputSources.current());
    }

    ReturnDecision decideByCandidates(OrvelReturnShortcut shortcut, CapturedReturn captured) {
        if (const auto failure = needs.japanese.incompatibility(fresh.agent))
            return stopJapanese(DiagnosticText::of("Stopped at compatibility check / {}", *failure),
                                DiagnosticText::of("{} Input was kept without sending.", *failure));
        captured.japaneseSelection = needs.reads.selectedRange(captured.editor);
        if (!captured.japaneseSelection)
            return stopJapanese(
                FixedWords("Stopped at selection check / Range attribute unavailable or unsupported type"),
                FixedWords("Couldn't read the editor selection. Input was kept without sending."));
        const auto window = focusedWindow();
        if (!window)
            return stopJapanese(
                DiagnosticText::of(
                    "Stopped at original window check / {}",
                    needs.reads.failure().value_or(FixedWords("Window attribute unavailable"))),
                FixedWords("Couldn't verify the original window. Input was kept without sending."));
        captured.window = *window;

        const auto evidence = lookAtCandidates(needs, captured, shortcut);
        japanese = evidence.report;
        if (!evidence.wasSeen)
            return stop(shortcut == OrvelReturnShortcut::command
                            ? FixedWords("Confirm Japanese composition before pressing ⌘Return. Input was "
                                         "kept without normal sending.")
                            : FixedWords("Couldn't verify Japanese input immediately before activation. "
                                         "Input was kept without normal sending."));
        switch (evidence.decision) {
        case GoogleIMEWindowPolicy::Decision::confirmOriginalReturn: {
            auto decision =
                end(Kind::confirm,
                    DiagnosticText::of("{} / Supported Google candidate window checked immediately before "
                                       "action / Original Return passed through for composition (no Shift "
                                       "conversion or resend)",
                                       fresh.agent));
            decision.captured = std::move(captured);
            return decision;
        }
        case GoogleIMEWindowPolicy::Decision::captureWithWindowEvidence:
            if (!mayBeginWork()) break;
            return end(DiagnosticText::of("{} / Limited Google input compatibility verified / Return "
                                          "suppressed; verify current conversation with original content "
                                          "intact",
                                          fresh.agent),
                       std::move(captured));
        case GoogleIMEWindowPolicy::Decision::stop: break;
        }
        return stop("Couldn't verify activation. Input was kept and processing stopped.");
    }

    ReturnDecision stopJapanese(const DiagnosticText& where, const DiagnosticText& reason) {
        japanese = DiagnosticText::of("\nInitial prerequisites: {}", where);
        return stop(reason);
    }

    std::optional<AXElement> focusedEditor() {
        return needs.reads.element(application(), "AXFocusedUIElement");
    }

    AXElement application() { return needs.reads.application(fresh.application.process); }

    std::optional<AXElement> focusedWindow() { return needs.reads.element(application(), "AXFocusedWindow"); }

    // The last look before the Return is given away for good.
    bool isStillThere(const CapturedReturn& captured) {
        return needs.applications.frontmost() == fresh.application && focusedEditor() == captured.editor &&
               (!captured.codeContext || isCurrent(needs.reads, *captured.codeContext)) &&
               !needs.reads.hasFailed();
    }

    bool mayBeginWork() const {
        return needs.loop.uptime() - started < latestCapture && fresh.hasReceiver && !fresh.event.isRepeat;
    }

    ReturnDecision passOther(const AXElement& focused) {
        if (input == ReturnInputClassification::empty) {
            const auto role = needs.reads.string(focused, "AXRole");
            const auto classes = needs.reads.strings(focused, "AXDOMClassList");
            needs.facts.add(DiagnosticText::of("Empty input focus: {} / {}", DiagnosticSummary::role(role),
                                               DiagnosticSummary::classes(classes)));
        }
        return pass("{} / Command syntax mismatch / Return: Pass through");
    }

    ReturnDecision pass(DiagnosticPattern<Agent> line) {
        return end(Kind::pass, DiagnosticText::of<Agent>(line, fresh.agent));
    }

    ReturnDecision stop(FixedWords reason) { return stop(DiagnosticText(reason)); }

    ReturnDecision stop(const DiagnosticText& reason) {
        auto decision =
            end(Kind::stop, DiagnosticText::of("{} / Return: Suppressed / {}", fresh.agent, reason));
        decision.reason = reason;
        return decision;
    }

    ReturnDecision end(Kind kind, DiagnosticText line) const {
        return {.kind = kind, .line = std::move(line), .input = input, .japanese = japanese};
    }

    ReturnDecision end(DiagnosticText line, CapturedReturn captured) const {
        auto decision = end(Kind::capture, std::move(line));
        decision.captured = std::move(captured);
        return decision;
    }

    const EditorNeeds& needs;
    const FreshReturn& fresh;
    const MainLoop::Duration started;
    ReturnInputClassification input = ReturnInputClassification::unread;
    DiagnosticText japanese; ///< What the candidate window came to.
};

} // namespace

ReturnDecision decideReturn(const EditorNeeds& needs, const FreshReturn& fresh) {
    auto decision = Decider(needs, fresh).decide();
    needs.reads.close(); // Opened by the decision, once something is read.
    return decision;
}

} // namespace orvel
