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

constexpr MainLoop::Duration patience = 5s, pause = 100ms, settling = 350ms, diagnosticSettling = 300ms;
constexpr int readinessReads = 50;

constexpr const char* unreachable =
    "Couldn't verify the Claude Desktop Code conversation ID or accessibility "
    "permission. Use Copy to recover.";
constexpr const char* notOpened = "Couldn't open Claude. Use Copy to recover.";

} // namespace

ClaudeDesktopRelaySender::ClaudeDesktopRelaySender(const ClaudePorts& ports,
                                                   ClaudeRelayDiagnosticHistory& history,
                                                   AgentFolders folders)
    : ports(ports),
      history(history),
      folders(std::move(folders)),
      reading(ports, history),
      navigation(ports, reading, history),
      submission(ports, reading, history) {}

Task<void> ClaudeDesktopRelaySender::performSend(std::string text, ConversationReference to,
                                                 ReceiptCheck receiptConfirmed) {
    history.stage(Stage::launch);
    ClaudeDelivery delivery{text, reachablePath(to, unreachable), receiptConfirmed,
                            DeliveryAttempt::reading()};
    co_await openClaude(notOpened, settling);
    const auto window = co_await navigation.navigateToConversation(*to.desktopSessionID);
    co_await sendToPath(delivery, window);
}

// The path of the conversation's page, if it has one and Claude may be read.
std::string ClaudeDesktopRelaySender::reachablePath(const ConversationReference& reference,
                                                    const char* otherwise) {
    requireClaude(reference.agent == Agent::claude && reference.desktopSessionID, otherwise);
    const auto target = ClaudeConversationNavigation::target(*reference.desktopSessionID);
    requireClaude(target && ports.accessibility.isTrusted(), otherwise);
    return target->path;
}

Task<void> ClaudeDesktopRelaySender::openClaude(const char* otherwise, MainLoop::Duration wait) {
    const auto outcome = co_await DestinationAppLauncher::open(ports.applications, Agent::claude);
    requireClaude(outcome == DestinationAppLauncher::Outcome::opened, otherwise);
    co_await ports.loop.sleep(wait);
}

Task<void> ClaudeDesktopRelaySender::sendToPath(ClaudeDelivery& delivery,
                                                std::optional<AXElement> expectedWindow) {
    try {
        const auto editor = co_await emptyEditor(delivery, expectedWindow);
        if (!editor) co_return;
        insert(delivery, editor->editor);
        co_await submission.submitPreparedDraft(delivery, *editor);
    } catch (const std::exception& failure) {
        throw delivery.attempt.failure(failure);
    }
}

// The page with the editor to write to, just proved; nothing if the text turns out to have arrived.
Task<std::optional<ClaudeSnapshot>>
ClaudeDesktopRelaySender::emptyEditor(ClaudeDelivery& delivery, std::optional<AXElement> expectedWindow) {
    const bool hasArrived = co_await delivery.isReceived();
    if (hasArrived) co_return std::nullopt;
    const auto window = expectedWindow ? *expectedWindow : reading.focusedClaudeWindow();
    const auto deadline = ports.loop.uptime() + patience;
    Held held;
    for (int number = 1; number <= readinessReads && ports.loop.uptime() < deadline; ++number) {
        if (auto* attempt = history.current()) attempt->readinessReads = number;
        const auto ready = co_await unlessTooEarly(readEmptyEditor(delivery.path, window, held));
        if (ready) co_return ready;
        co_await ports.loop.sleep(pause);
    }
    throw ClaudeReadiness::Failure();
}

// Two readings that agree.
Task<std::optional<ClaudeSnapshot>> ClaudeDesktopRelaySender::readEmptyEditor(std::string path,
                                                                              AXElement window, Held& held) {
    history.stage(Stage::targetSnapshot);
    co_await reading.step();
    reading.requireWindow(window);
    const ClaudeSnapshotRequest request{path, false, window, held.page, held.editor, true};
    const auto first = co_await reading.snapshot(request);
    held = {first.page, first.editor};
    requireClaude(first.isIdle(),
                  "Claude has a draft, attachment, or reply in progress. Nothing was changed.");

    history.stage(Stage::targetRecheck);
    const ClaudeSnapshotRequest again{path, false, window, first.page, first.editor};
    const auto second = co_await reading.snapshot(again);
    requireClaude(second.text == first.text && second.isIdle(),
                  "Claude input state changed. Nothing was changed.");
    reading.requireWindow(window);
    co_return second;
}

void ClaudeDesktopRelaySender::insert(ClaudeDelivery& delivery, const AXElement& editor) {
    history.stage(Stage::insertion);
    delivery.attempt.textMayBeInserted();
    const auto status = ports.accessibility.setAttribute(editor, "AXValue", AXValue(delivery.text));
    requireClaude(status == AXStatus::success, "Couldn't verify insertion into Claude. Do not insert again; "
                                               "check the delivery record and editor.");
}

Task<void> ClaudeDesktopRelaySender::submitExistingDraft(std::string text, ConversationReference to,
                                                         ReceiptCheck receiptConfirmed) {
    ClaudeDelivery delivery{text, {}, receiptConfirmed, DeliveryAttempt::ofInsertedText()};
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
    co_await openClaude(notOpened, settling);
    const bool hasArrivedSince = co_await delivery.isReceived();
    if (hasArrivedSince) co_return;
    const ClaudeSnapshotRequest request{delivery.path};
    const auto draft = co_await reading.snapshot(request);
    requireClaude(draft.text == delivery.text && !draft.hasAttachment && !draft.isResponding,
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
    co_await openClaude(notOpened, diagnosticSettling);
    const auto snapshot = co_await reading.snapshot(request);
    co_return DiagnosticText::of(
        "Characters={} / Attachments={} / Replying={} / Send enabled={}\n{}\nLatest send "
        "(may not be the attempt in the current editor): {}\n{}",
        utf16Length(snapshot.text), snapshot.hasAttachment, snapshot.isResponding,
        snapshot.sendEnabledDiagnostic, snapshot.diagnostics, submission.latestSummary(),
        history.description())
        .text();
}

} // namespace orvel
