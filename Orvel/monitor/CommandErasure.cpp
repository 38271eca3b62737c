#include "Orvel/monitor/CommandErasure.h"

#include "Orvel/monitor/CandidateEvidence.h"
#include "Orvel/monitor/InputState.h"

#include <algorithm>
#include <utility>

namespace orvel {

namespace {

using namespace std::chrono_literals;

// An editor may show its new value a little later.
constexpr int maximumRereads = 3;
constexpr MainLoop::Duration rereadInterval = 50ms, rereadBudget = 50ms, rereadsEnd = 250ms;

class Erasure : public CommandEditor {
  public:
    Erasure(const CommandErasureNeeds& needs, const CapturedReturn& captured)
        : needs(needs), captured(captured) {}

    bool isSameFocusedEditor() override {
        if (!isInFront()) return false;
        const auto app = application();
        const auto focused = needs.reads.element(app, "AXFocusedUIElement");
        const auto shown = needs.reads.element(app, "AXFocusedWindow");
        return isUntouched() && shown == captured.window && focused == captured.editor &&
               isConversationShown() && needs.reads.hasBudget();
    }

    std::optional<std::string> readText() override { return needs.reads.string(captured.editor, "AXValue"); }

    bool writeEmpty() override {
        if (!needs.reads.hasBudget()) return false;
        if (!isConfirmed() || !isConversationShown() || !isUntouched()) return false;
        writeStatus = needs.reads.write(captured.editor, "AXValue", std::string());
        return writeStatus == AXStatus::success;
    }

    void observeReadback(CommandRemovalReadback seen) override { readback = seen; }

    bool wasWriteAttempted() const { return writeStatus.has_value(); }
    CommandRemovalReadback lastReadback() const { return readback; }

    DiagnosticText diagnostics() const {
        return DiagnosticText::of("Write AX={}, immediate read={}, AX failure={}",
                                  writeStatus ? numberOf(*writeStatus) : DiagnosticText("Not attempted"),
                                  description(readback),
                                  needs.reads.failure().value_or(DiagnosticText("None")));
    }

    /// Whether nothing but the command is gone. The conversation is looked at last: it may change without the
    /// person's doing, which alone is counted.
    bool isOriginCurrent() {
        if (!isInFront() || !isUntouched()) return false;
        if (!confirmsRemoval(removalReadback(readText(), captured.text))) return false;
        const auto app = application();
        return needs.reads.element(app, "AXFocusedUIElement") == captured.editor &&
               needs.reads.element(app, "AXFocusedWindow") == captured.window && isConversationShown() &&
               isUntouched() && isInFront() && needs.reads.hasBudget();
    }

    /// One more look at the editor, without writing.
    CommandRemovalReadback reread() { return readback = removalReadback(readText(), captured.text); }

    bool isFocused() { return needs.reads.element(application(), "AXFocusedUIElement") == captured.editor; }

    bool isInFront() const {
        const auto front = needs.applications.frontmost();
        return needs.isMonitoring() && needs.accessibility.isTrusted() && front &&
               front->process == captured.process;
    }

  private:
    AXElement application() { return needs.reads.application(captured.process); }

    // Whether the input method has nothing pending.
    bool isConfirmed() {
        if (captured.japaneseSelection) return provesNoCandidates(needs, captured);
        return readComposition(needs.reads, needs.facts, needs.inputSources, captured.editor).state ==
               CompositionState::clear;
    }

    bool isUntouched() const {
        const auto source = needs.inputSources.current();
        return !needs.reads.hasFailed() && needs.input.generation() == captured.inputGeneration && source &&
               source->id && source->id == captured.inputSourceID;
    }

    bool isConversationShown() {
        return !captured.codeContext || isCurrent(needs.reads, *captured.codeContext);
    }

    const CommandErasureNeeds& needs;
    const CapturedReturn& captured;
    std::optional<AXStatus> writeStatus;
    CommandRemovalReadback readback = CommandRemovalReadback::notAttempted;
};

// Whether the editor is empty by now; nothing while it may become so.
std::optional<bool> lookAgain(const CommandErasureNeeds& needs, Erasure& erasure, int number,
                              MainLoop::Duration end, ErasedCommand& erased) {
    const auto left = end - needs.loop.uptime();
    if (left <= 0ms || !erasure.isInFront()) {
        erased.diagnostics +=
            DiagnosticText(" / Recheck stopped: Time, monitoring, or foreground state changed");
        return false;
    }
    const OpenBudget budget(needs.reads, std::min(rereadBudget, left));
    if (!erasure.isFocused()) {
        erased.diagnostics +=
            DiagnosticText(" / Recheck stopped: Original editor focus mismatched or unavailable");
        return false;
    }
    const auto readback = erasure.reread();
    erased.diagnostics += DiagnosticText::of(" / Reread {}={}", number, description(readback));
    if (confirmsRemoval(readback) && !needs.reads.hasFailed()) {
        erased.isOriginConfirmed = erasure.isOriginCurrent();
        return true;
    }
    return canRetryReadOnly(readback) ? std::nullopt : std::optional(false);
}

} // namespace

Task<ErasedCommand> eraseCommand(const CommandErasureNeeds& needs, CapturedReturn captured) {
    Erasure erasure(needs, captured);
    ErasedCommand erased;
    {
        const OpenBudget budget(needs.reads);
        if (captured.japaneseSelection && !provesNoCandidates(needs, captured)) {
            erased.mayBeComposing = true;
            co_return erased;
        }
        erased.outcome = CommandRemoval::perform(captured.text, erasure);
        erased.diagnostics = erasure.diagnostics();
        erased.wasWriteAttempted = erasure.wasWriteAttempted();
        if (erased.outcome == CommandRemovalOutcome::cleared)
            erased.isOriginConfirmed = erasure.isOriginCurrent();
    }
    if (erased.outcome == CommandRemovalOutcome::cleared || !erased.wasWriteAttempted ||
        !canRetryReadOnly(erasure.lastReadback()))
        co_return erased;

    erased.outcome = CommandRemovalOutcome::verificationFailed;
    const auto end = needs.loop.uptime() + rereadsEnd;
    for (int number = 1; number <= maximumRereads; ++number) {
        co_await needs.loop.sleep(rereadInterval);
        const auto isEmpty = lookAgain(needs, erasure, number, end, erased);
        if (!isEmpty) continue;
        if (*isEmpty) erased.outcome = CommandRemovalOutcome::cleared;
        co_return erased;
    }
    erased.isStillThere = erasure.lastReadback() == CommandRemovalReadback::unchanged;
    co_return erased;
}

} // namespace orvel
