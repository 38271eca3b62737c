#include "Orvel/monitor/ReturnDecider.h"

#include "Orvel/monitor/InputWatch.h"
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
    Decider(const ReturnDeciderNeeds& needs, const FreshReturn& fresh)
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

        needs.facts.addSurely(
            DiagnosticText::of("Input method at Return: {}", describeInputSource(needs.inputSources)));
        const auto composition = readComposition(needs.reads, needs.facts, needs.inputSources, focused);
        if (shortcut == OrvelReturnShortcut::command && composition.state == CompositionState::composing)
            return stop("Couldn't verify composition confirmation. Confirm composition before pressing "
                        "⌘Return. Input is kept.");
        if (commandReturnDecision({.composition = composition.state, .shortcut = shortcut}) !=
            CommandReturnDecision::capture)
            return stop("Couldn't verify whether composition is pending. /orvel was kept without normal "
                        "sending.");
        const auto window = needs.reads.element(application(), "AXFocusedWindow");
        if (!window || !isStillThere(focused, found.codeContext))
            return stop("Couldn't recheck the editor and app before activation. Input was kept without "
                        "normal sending.");

        const auto source = needs.inputSources.current();
        auto decision = end(
            Kind::capture,
            DiagnosticText::of(
                "{} / Conversation editor: Match / Input method: Confirmed / Return: Suppressed; show Orvel",
                fresh.agent));
        decision.captured = CapturedReturn{.id = fresh.attemptID,
                                           .agent = fresh.agent,
                                           .command = std::move(command),
                                           .text = text,
                                           .editor = focused,
                                           .window = *window,
                                           .process = fresh.application.process,
                                           .codeContext = found.codeContext,
                                           .inputGeneration = fresh.inputGeneration,
                                           .inputSourceID = source ? source->id : std::nullopt};
        return decision;
    }

    std::optional<AXElement> focusedEditor() {
        return needs.reads.element(application(), "AXFocusedUIElement");
    }

    AXElement application() { return needs.reads.application(fresh.application.process); }

    // The last look before the Return is swallowed for good.
    bool isStillThere(const AXElement& focused, const std::optional<CodeCaptureContext>& context) {
        return needs.applications.frontmost() == fresh.application && focusedEditor() == focused &&
               (!context || isCurrent(needs.reads, *context)) && !needs.reads.hasFailed() &&
               needs.loop.uptime() - started < latestCapture && fresh.hasReceiver && !fresh.event.isRepeat;
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

    ReturnDecision stop(FixedWords reason) {
        auto decision =
            end(Kind::stop, DiagnosticText::of("{} / Return: Suppressed / {}", fresh.agent, reason));
        decision.reason = reason;
        return decision;
    }

    ReturnDecision end(Kind kind, DiagnosticText line) const {
        return {.kind = kind, .line = std::move(line), .input = input};
    }

    const ReturnDeciderNeeds& needs;
    const FreshReturn& fresh;
    const MainLoop::Duration started;
    ReturnInputClassification input = ReturnInputClassification::unread;
};

} // namespace

ReturnDecision decideReturn(const ReturnDeciderNeeds& needs, const FreshReturn& fresh) {
    auto decision = Decider(needs, fresh).decide();
    needs.reads.close();
    return decision;
}

} // namespace orvel
