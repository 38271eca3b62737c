// The start of a new Code conversation: the way to its empty page, and the search for what became of it.

#include "Orvel/delivery/ClaudeDesktopRelaySender.h"
#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr const char* newPagePath = "/epitaxy";
constexpr auto settling = 350ms, pagePause = 100ms, conversationPause = 500ms;
constexpr int pageReads = 20, conversationReads = 120;

bool holdsPayload(const ConversationReference& reference, const std::string& payload) {
    try {
        const auto conversation = TranscriptReader::read(reference.transcriptPath, reference.agent);
        return std::any_of(
            conversation.messages.begin(), conversation.messages.end(),
            [&](const auto& message) { return message.role == "user" && message.text == payload; });
    } catch (const Failure&) {
        return false; // It is being written.
    }
}

// The one conversation with this identifier that did not exist before. Throws ConversationCatalogError if
// there are several.
std::optional<ConversationReference> findRecipient(const AgentFolders& folders, const std::string& id,
                                                   const RelayInitialTransfer& transfer) {
    const auto roots = folders.defaultRoots();
    auto found = ConversationCatalog::discover(roots, folders.claudeDesktop);
    std::erase_if(found, [&](const auto& reference) {
        return reference.agent != Agent::claude || reference.desktopSessionID != id;
    });
    if (found.size() > 1) throw ConversationCatalogError(ConversationCatalogError::Case::ambiguous);
    if (found.empty()) return std::nullopt;
    const auto& existing = *transfer.existingDestinationIDs;
    const bool existed = std::find(existing.begin(), existing.end(), found[0].id()) != existing.end();
    if (existed || !holdsPayload(found[0], transfer.payload)) return std::nullopt;
    return found[0];
}

} // namespace

Task<ConversationReference> ClaudeDesktopRelaySender::start(RelayInitialTransfer transfer) {
    co_await prepareNewPage();
    ClaudeDelivery delivery{transfer.payload, newPagePath, nullptr, DeliveryAttempt::reading()};
    co_await sendToPath(delivery, std::nullopt);
    co_return co_await newConversation(transfer);
}

Task<void> ClaudeDesktopRelaySender::prepareNewPage() {
    try {
        co_await reachNewPage();
    } catch (const std::exception& failure) {
        throw RelaySendError(failure.what(), true);
    }
}

Task<void> ClaudeDesktopRelaySender::reachNewPage() {
    co_await openClaude(claudeEditorUnverified, settling);
    const auto path = co_await reading.currentCodePagePath(std::nullopt);
    requireClaude(path.has_value());
    const ClaudeSnapshotRequest request{*path};
    const auto shown = co_await reading.snapshot(request);
    requireClaude(shown.isIdle(),
                  "Claude has a draft, attachment, or reply in progress. Nothing was changed.");
    if (path == newPagePath) co_return;

    const auto button = co_await newConversationButton();
    const ClaudeSnapshotRequest again{*path, false, std::nullopt, shown.page};
    const auto recheck = co_await reading.snapshot(again);
    requireClaude(recheck.text == shown.text && recheck.isIdle());
    requireClaude(ports.accessibility.performAction(button, "AXPress") == AXStatus::success);
    for (int read = 1; read <= pageReads; ++read) {
        if (read > 1) co_await ports.loop.sleep(pagePause);
        const auto reached = co_await unlessTooEarly(reading.currentCodePagePath(std::nullopt));
        if (reached == newPagePath) co_return;
    }
    throw RelaySendError(claudeEditorUnverified);
}

Task<AXElement> ClaudeDesktopRelaySender::newConversationButton() {
    co_await reading.step();
    const auto window = reading.focusedClaudeWindow();
    const auto buttons =
        co_await reading.elementsOfRole(window, "AXButton", ClaudeWindowReading::windowLimit);
    AXElements found;
    for (const auto& button : buttons) {
        const auto labels = co_await reading.labels(button);
        if (std::find(labels.begin(), labels.end(), "New") != labels.end()) found.push_back(button);
    }
    requireClaude(found.size() == 1);
    co_return found.front();
}

Task<ConversationReference> ClaudeDesktopRelaySender::newConversation(const RelayInitialTransfer& transfer) {
    std::optional<std::string> held;
    for (int read = 1; read <= conversationReads; ++read) {
        if (read > 1) co_await ports.loop.sleep(conversationPause);
        const auto shown = co_await shownConversation();
        requireClaude(!held || !shown || shown == held);
        if (shown) held = shown;
        if (!held) continue;
        const auto found = co_await recipient(transfer, *held);
        if (found) co_return *found;
    }
    throw RelaySendError("Couldn't confirm the new Claude conversation. Do not resend; select the created "
                         "conversation from the destination card.");
}

// The identifier of the conversation that Claude shows, if it can be read.
Task<std::optional<std::string>> ClaudeDesktopRelaySender::shownConversation() {
    static constexpr std::string_view conversations = "/epitaxy/";
    try {
        const auto path = co_await reading.currentCodePagePath(std::nullopt);
        if (path && path->starts_with("/epitaxy/local_")) co_return path->substr(conversations.size());
    } catch (const Failure&) { // NOLINT(bugprone-empty-catch)
        // What can't be read now may be readable later.
    }
    co_return std::nullopt;
}

Task<std::optional<ConversationReference>>
ClaudeDesktopRelaySender::recipient(const RelayInitialTransfer& transfer, std::string desktopSessionID) {
    const auto find = [folders = folders, id = std::move(desktopSessionID), transfer = transfer] {
        return findRecipient(folders, id, transfer);
    };
    co_return co_await ports.loop.background(find);
}

} // namespace orvel
