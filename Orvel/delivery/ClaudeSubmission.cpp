#include "Orvel/delivery/ClaudeSubmission.h"

#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/relay/RelaySendError.h"

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr auto pollInterval = 150ms;
constexpr int maximumEnableReads = 15, maximumReceiptReads = 40;

constexpr const char* stateChanged = "The Claude conversation, editor, content, attachments, or reply state "
                                     "changed. Stopped and kept the content.";

FixedWords contentWords(const ClaudeSnapshot& snapshot, const std::string& text) {
    if (!snapshot.hasText()) return "Whitespace only";
    return snapshot.text == text ? FixedWords("Unchanged saved message") : FixedWords("Different content");
}

} // namespace

Task<bool> ClaudeDelivery::isReceived() const {
    if (!receiptConfirmed) co_return false;
    co_return co_await receiptConfirmed();
}

Task<void> ClaudeSubmission::submitPreparedDraft(ClaudeDelivery& delivery, ClaudeSnapshot anchor) {
    history.stage(ClaudeRelayDiagnosticHistory::Stage::submission);
    latestSendSummary = FixedWords(
        "Preparing / Send enabled=Unread / Press not attempted / Receipt after boundary=Unverified");
    Progress progress;
    std::optional<std::string> failure;
    try {
        co_await submit(delivery, anchor, progress);
    } catch (const std::exception& reason) {
        failure = reason.what();
    }
    const auto input = co_await describeInput(delivery, anchor);
    latestSendSummary =
        DiagnosticText::of("Send enabled={} / press AX={} / Receipt after boundary={} / Input: {}",
                           progress.enabled, progress.press, progress.isReceived, input);
    if (failure) throw delivery.attempt.failure(*failure + "\n" + latestSendSummary.text());
}

Task<void> ClaudeSubmission::submit(ClaudeDelivery& delivery, const ClaudeSnapshot& anchor,
                                    Progress& progress) {
    if (delivery.receiptConfirmed)
        progress.isReceived = co_await delivery.isReceived();
    else
        co_await ports.loop.sleep(pollInterval);
    if (!progress.isReceived) co_await pressWhenEnabled(delivery, anchor, progress);
    if (!progress.isReceived && delivery.receiptConfirmed) co_await waitForReceipt(delivery, progress);
}

// Returns with Send pressed, or with the receipt.
Task<void> ClaudeSubmission::pressWhenEnabled(ClaudeDelivery& delivery, const ClaudeSnapshot& anchor,
                                              Progress& progress) {
    const ClaudeSnapshotRequest request{delivery.path};
    for (int read = 1; read <= maximumEnableReads; ++read) {
        if (read > 1) co_await ports.loop.sleep(pollInterval);
        progress.isReceived = co_await delivery.isReceived();
        if (progress.isReceived) co_return;
        const auto first = co_await reader.snapshot(request);
        progress.enabled = first.sendEnabledDiagnostic;
        throwSendErrorUnless(first.holdsOnly(delivery.text, anchor), stateChanged);
        if (!first.canSend()) continue;

        progress.isReceived = co_await delivery.isReceived();
        if (progress.isReceived) co_return;
        const auto second = co_await reader.snapshot(request);
        progress.enabled = second.sendEnabledDiagnostic;
        const auto sendButton = ProvenSendButton::in(first, second, delivery.text, anchor);
        if (!sendButton) continue;
        const auto look = co_await reader.lastLook(second);
        throwSendErrorUnless(look.isSameWindow && look.isSameText, claudeChangedBeforeSend);
        press(*sendButton, progress);
        co_return;
    }
    throw RelaySendError(
        delivery.receiptConfirmed
            ? "Couldn't confirm that Claude’s Send button became enabled. The editor content is kept."
            : "Couldn't confirm that Claude’s Send button became enabled. Message content is kept.");
}

void ClaudeSubmission::press(const ProvenSendButton& sendButton, Progress& progress) {
    const auto status = ports.accessibility.performAction(sendButton.element(), "AXPress");
    progress.press = static_cast<std::int32_t>(status);
    throwSendErrorUnless(status == AXStatus::success,
                         "Couldn't verify Claude’s send action. Check delivery records without resending.");
}

Task<void> ClaudeSubmission::waitForReceipt(ClaudeDelivery& delivery, Progress& progress) {
    for (int read = 1; read <= maximumReceiptReads; ++read) {
        if (read > 1) co_await ports.loop.sleep(pollInterval);
        progress.isReceived = co_await delivery.isReceived();
        if (progress.isReceived) co_return;
    }
    throw RelaySendError("Claude’s Send action was attempted, but delivery is not confirmed in the "
                         "destination record. The message is kept; no automatic resend.");
}

// Describes what the editor holds now, without its content.
Task<DiagnosticText> ClaudeSubmission::describeInput(const ClaudeDelivery& delivery,
                                                     const ClaudeSnapshot& anchor) {
    try {
        const ClaudeSnapshotRequest request{delivery.path};
        const auto fresh = co_await reader.snapshot(request);
        co_return DiagnosticText::of("Same editor={} / Content={} / Send={} / Replying={} / Attachments={}",
                                     fresh.editor == anchor.editor, contentWords(fresh, delivery.text),
                                     fresh.sendEnabledDiagnostic, fresh.isResponding, fresh.hasAttachment);
    } catch (const std::exception&) {
        co_return FixedWords("Unreadable or not the original route");
    }
}

} // namespace orvel
