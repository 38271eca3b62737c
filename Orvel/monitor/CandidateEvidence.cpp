#include "Orvel/monitor/CandidateEvidence.h"

#include "Orvel/monitor/GoogleJapaneseInput.h"
#include "Orvel/monitor/InputState.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

namespace {

constexpr MainLoop::Duration longestLook = std::chrono::milliseconds(25);

bool isContextUnchanged(const EditorNeeds& needs, const CapturedReturn& captured) {
    const auto application = needs.reads.application(captured.process);
    if (needs.reads.element(application, "AXFocusedUIElement") != captured.editor ||
        needs.reads.element(application, "AXFocusedWindow") != captured.window ||
        needs.reads.string(captured.editor, "AXValue") != captured.text ||
        needs.reads.selectedRange(captured.editor) != captured.japaneseSelection)
        return false;
    if (!readComposition(needs.reads, needs.facts, needs.inputSources, captured.editor).isUntold())
        return false;
    if (captured.codeContext && !isCurrent(needs.reads, *captured.codeContext)) return false;
    const auto front = needs.applications.frontmost();
    const auto source = needs.inputSources.current();
    return front && front->process == captured.process && source && source->id == captured.inputSourceID &&
           needs.input.generation() == captured.inputGeneration;
}

bool isCaretAtEnd(const CapturedReturn& captured) {
    return captured.japaneseSelection->length == 0 &&
           std::cmp_equal(captured.japaneseSelection->location, utf16Length(captured.text));
}

} // namespace

CandidateEvidence lookAtCandidates(const EditorNeeds& needs, const CapturedReturn& captured,
                                   OrvelReturnShortcut shortcut) {
    const auto now = [&needs] { return secondsOf(needs.loop.uptime()); };
    const auto verificationStarted = now();
    const auto sample = needs.japanese.look(std::min(longestLook, needs.reads.timeLeft()));
    if (!sample)
        return {.report =
                    DiagnosticText("\nCurrent fresh window=unavailable (pending, reading, or expired)")};

    const bool isUnchanged = isContextUnchanged(needs, captured);
    const bool isReadable = !needs.reads.hasFailed();
    const bool isInTime = needs.reads.hasBudget();
    const auto failure = needs.japanese.incompatibility(captured.agent);
    const GoogleIMEWindowPolicy::Evidence evidence{.state = sample->state,
                                                   .observationStarted = sample->started,
                                                   .observationFinished = sample->started + sample->duration,
                                                   .verificationStarted = verificationStarted,
                                                   .now = now(),
                                                   .contextUnchanged = isUnchanged && isReadable && isInTime,
                                                   .compatible = !failure};
    const auto decision = GoogleIMEWindowPolicy::decide(evidence, isCaretAtEnd(captured), shortcut);
    return {.decision = decision,
            .wasSeen = true,
            .report = DiagnosticText::of(
                "\nPrerequisites: context={}, AX failure={}, time budget={}, compatible={}, reason={}"
                "\nCurrent fresh window: {} / Decision={}",
                isUnchanged, !isReadable, isInTime, evidence.compatible,
                failure.value_or(DiagnosticText("None")), sample->summary(evidence.now),
                GoogleIMEWindowPolicy::nameOf(decision))};
}

bool provesNoCandidates(const EditorNeeds& needs, const CapturedReturn& captured) {
    return lookAtCandidates(needs, captured, OrvelReturnShortcut::plain).decision ==
           GoogleIMEWindowPolicy::Decision::captureWithWindowEvidence;
}

} // namespace orvel
