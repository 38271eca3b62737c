#include "Orvel/delivery/ClaudeDesktopRelaySender.h"

#include "Orvel/delivery/ClaudeConversationNavigation.h"
#include "Orvel/delivery/ClaudeReadiness.h"
#include "Orvel/delivery/DestinationAppLauncher.h"
#include "OrvelCore/text/Unicode.h"

#include <utility>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Stage = ClaudeRelayDiagnosticHistory::Stage;

constexpr MainLoop::Duration readinessTimeout = 5s, pollInterval = 100ms;
constexpr MainLoop::Duration settlingDelay = 350ms, diagnosticSettlingDelay = 300ms;
constexpr int maximumReadinessReads = 50;

constexpr const char* unreachable =
    "Couldn't verify the Claude Desktop Code conversation ID or accessibility "
    "permission. Use Copy to recover.";
constexpr const char* notOpened = "Couldn't open Claude. Use Copy to recover.";

} // namespace

ClaudeDesktopRelaySender::ClaudeDesktopRelaySender(const Desktop& ports,
                                                   ClaudeRelayDiagnosticHistory& history,
                                                   AgentFolders folders)
    : ports(ports),
      history(history),
      folders(std::move(folders)),
      reader(ports, history),
      navigation(ports, reader, history),
      submission(ports, reader, history) {}

Task<void> ClaudeDesktopRelaySender::performSend(SavedTransfer transfer, ConversationReference to,
                                                 ReceiptCheck receiptConfirmed) {
    history.stage(Stage::launch);
    ClaudeDelivery delivery{*transfer->payload, {}, receiptConfirmed, DeliveryAttempt::beforeInsertion()};
    try {
        delivery.path = reachablePath(to, unreachable);
    } catch (const std::exception& failure) {
        throw delivery.attempt.failure(failure);
    }
    co_await openClaude(notOpened, settlingDelay);
    const auto window = co_await navigation.navigateToConversation(*to.desktopSessionID);
    co_await sendToPath(delivery, window);
}

// The path of the conversation's page. It must have one, and Orvel the permission to read Claude.
std::string ClaudeDesktopRelaySender::reachablePath(const ConversationReference& reference,
                                                    const char* otherwise) {
    throwSendErrorUnless(reference.agent == Agent::claude && reference.desktopSessionID, otherwise);
    const auto target = ClaudeConversationNavigation::target(*reference.desktopSessionID);
    throwSendErrorUnless(target && ports.accessibility.isTrusted(), otherwise);
    return target->path;
}

Task<void> ClaudeDesktopRelaySender::openClaude(const char* otherwise, MainLoop::Duration delay) {
    const auto outcome = co_await DestinationAppLauncher::open(ports.applications, Agent::claude);
    throwSendErrorUnless(outcome == DestinationAppLauncher::Outcome::opened, otherwise);
    co_await ports.loop.sleep(delay);
}

Task<void> ClaudeDesktopRelaySender::sendToPath(ClaudeDelivery& delivery,
                                                std::optional<AXElement> expectedWindow) {
    try {
        const auto editor = co_await emptyEditor(delivery, expectedWindow);
        if (!editor) co_return;
        insert(delivery, *editor);
        co_await submission.submitPreparedDraft(delivery, editor->snapshot());
    } catch (const std::exception& failure) {
        throw delivery.attempt.failure(failure);
    }
}

// The editor to write to, just proven; nothing if the text turns out to have arrived.
Task<std::optional<ProvenEditor>>
ClaudeDesktopRelaySender::emptyEditor(ClaudeDelivery& delivery, std::optional<AXElement> expectedWindow) {
    const bool hasArrived = co_await delivery.isReceived();
    if (hasArrived) co_return std::nullopt;
    const auto window = expectedWindow ? *expectedWindow : reader.focusedClaudeWindow();
    const auto deadline = ports.loop.uptime() + readinessTimeout;
    Held held;
    for (int number = 1; number <= maximumReadinessReads && ports.loop.uptime() < deadline; ++number) {
        if (auto* attempt = history.current()) attempt->readinessReads = number;
        const auto ready = co_await unlessTooEarly(readEmptyEditor(delivery.path, window, held));
        if (ready) co_return ready;
        co_await ports.loop.sleep(pollInterval);
    }
    throw ClaudeReadiness::Failure();
}

Task<std::optional<ProvenEditor>> ClaudeDesktopRelaySender::readEmptyEditor(std::string path,
                                                                            AXElement window, Held& held) {
    history.stage(Stage::targetSnapshot);
    co_await reader.step();
    reader.requireWindow(window);
    const ClaudeSnapshotRequest request{path, false, window, held.page, held.editor, true};
    const auto first = co_await reader.snapshot(request);
    held = {first.page, first.editor};
    throwSendErrorUnless(first.isIdle(),
                         "Claude has a draft, attachment, or reply in progress. Nothing was changed.");

    history.stage(Stage::targetRecheck);
    const ClaudeSnapshotRequest again{path, false, window, first.page, first.editor};
    const auto second = co_await reader.snapshot(again);
    const auto editor = ProvenEditor::in(first, second);
    const auto look = co_await reader.lastLook(second);
    throwSendErrorUnless(look.isSameWindow, claudeWindowChanged);
    throwSendErrorUnless(look.isSameText, claudeInputChanged);
    co_return editor;
}

void ClaudeDesktopRelaySender::insert(ClaudeDelivery& delivery, const ProvenEditor& editor) {
    history.stage(Stage::insertion);
    delivery.attempt.textMayBeInserted();
    const auto status = ports.accessibility.setAttribute(editor.element(), "AXValue", AXValue(delivery.text));
    throwSendErrorUnless(status == AXStatus::success,
                         "Couldn't verify insertion into Claude. Do not insert again; "
                         "check the delivery record and editor.");
}

Task<void> ClaudeDesktopRelaySender::submitExistingDraft(SavedTransfer transfer, ConversationReference to,
                                                         ReceiptCheck receiptConfirmed) {
    ClaudeDelivery delivery{*transfer->payload, {}, receiptConfirmed, DeliveryAttempt::afterInsertion()};
    try {
        co_await submitDraft(delivery, to);
    } catch (const std::exception& failure) {
        throw delivery.attempt.failure(failure);
    }
}

Task<void> ClaudeDesktopRelaySender::submitDraft(ClaudeDelivery& delivery, ConversationReference to) {
    const bool hasArrived = co_await delivery.isReceived();
    if (hasArrived) co_return;
    history.stage(Stage::launch);
    delivery.path = reachablePath(to, claudeEditorUnverified);
    co_await openClaude(notOpened, settlingDelay);
    const bool hasArrivedSince = co_await delivery.isReceived();
    if (hasArrivedSince) co_return;
    const ClaudeSnapshotRequest request{delivery.path};
    const auto draft = co_await reader.snapshot(request);
    throwSendErrorUnless(
        draft.text == delivery.text && !draft.hasAttachment && !draft.isResponding,
        "The saved message does not match the Claude editor content and state. Stopped without "
        "editing.");
    co_await submission.submitPreparedDraft(delivery, draft);
}

Task<std::string> ClaudeDesktopRelaySender::diagnose(ConversationReference reference) {
    try {
        co_return co_await report(reference);
    } catch (const std::exception& failure) {
        throw RelaySendError(std::string(failure.what()) + "\n" + history.description().text());
    }
}

Task<std::string> ClaudeDesktopRelaySender::report(ConversationReference reference) {
    history.stage(Stage::launch);
    const ClaudeSnapshotRequest request{reachablePath(reference, unreachable), true};
    co_await openClaude(notOpened, diagnosticSettlingDelay);
    const auto snapshot = co_await reader.snapshot(request);
    co_return DiagnosticText::of(
        "Characters={} / Attachments={} / Replying={} / Send enabled={}\n{}\nLatest send "
        "(may not be the attempt in the current editor): {}\n{}",
        utf16Length(snapshot.text), snapshot.hasAttachment, snapshot.isResponding,
        snapshot.sendEnabledDiagnostic, snapshot.diagnostics, submission.latestSummary(),
        history.description())
        .text();
}

} // namespace orvel
