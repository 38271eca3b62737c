// Starts a new Code conversation: reaches its empty page, and finds the conversation afterwards.

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
constexpr auto settlingDelay = 350ms, pagePollInterval = 100ms, conversationPollInterval = 500ms;
constexpr int maximumPageReads = 20, maximumConversationReads = 120;

bool holdsPayload(const ConversationReference& reference, const std::string& payload) {
    try {
        const auto conversation = TranscriptReader::read(reference.transcriptPath, reference.agent);
        return std::any_of(
            conversation.messages.begin(), conversation.messages.end(),
            [&](const auto& message) { return message.role == "user" && message.text == payload; });
    } catch (const Failure&) {
        return false; // Its file is being written.
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
    ClaudeDelivery delivery{transfer.payload, newPagePath, nullptr, DeliveryAttempt::beforeInsertion()};
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
    co_await openClaude(claudeEditorUnverified, settlingDelay);
    const auto path = co_await reader.currentCodePagePath(std::nullopt);
    throwSendErrorUnless(path.has_value());
    const ClaudeSnapshotRequest request{*path};
    const auto shown = co_await reader.snapshot(request);
    throwSendErrorUnless(shown.isIdle(),
                         "Claude has a draft, attachment, or reply in progress. Nothing was changed.");
    if (path == newPagePath) co_return;

    const auto button = co_await newConversationButton();
    const ClaudeSnapshotRequest again{*path, false, std::nullopt, shown.page};
    const auto recheck = co_await reader.snapshot(again);
    throwSendErrorUnless(recheck.text == shown.text && recheck.isIdle());
    const auto look = co_await reader.lastLook(recheck);
    throwSendErrorUnless(look.isSameWindow && look.isSameText, claudeInputChanged);
    throwSendErrorUnless(ports.accessibility.performAction(button, "AXPress") == AXStatus::success);
    for (int read = 1; read <= maximumPageReads; ++read) {
        if (read > 1) co_await ports.loop.sleep(pagePollInterval);
        const auto reached = co_await unlessTooEarly(reader.currentCodePagePath(std::nullopt));
        if (reached == newPagePath) co_return;
    }
    throw RelaySendError(claudeEditorUnverified);
}

Task<AXElement> ClaudeDesktopRelaySender::newConversationButton() {
    co_await reader.step();
    const auto window = reader.focusedClaudeWindow();
    const auto buttons = co_await reader.elementsOfRole(window, "AXButton");
    AXElements found;
    for (const auto& button : buttons) {
        const auto labels = co_await reader.labels(button);
        if (std::find(labels.begin(), labels.end(), "New") != labels.end()) found.push_back(button);
    }
    throwSendErrorUnless(found.size() == 1);
    co_return found.front();
}

Task<ConversationReference> ClaudeDesktopRelaySender::newConversation(const RelayInitialTransfer& transfer) {
    std::optional<std::string> held;
    for (int read = 1; read <= maximumConversationReads; ++read) {
        if (read > 1) co_await ports.loop.sleep(conversationPollInterval);
        const auto shown = co_await shownConversation();
        throwSendErrorUnless(!held || !shown || shown == held);
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
        const auto path = co_await reader.currentCodePagePath(std::nullopt);
        if (path && path->starts_with("/epitaxy/local_")) co_return path->substr(conversations.size());
    } catch (const Failure&) { // NOLINT(bugprone-empty-catch)
        // It may be readable later.
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
