#include "Orvel/model/OutboxState.h"

#include "Orvel/delivery/ClaudeCodeRelaySender.h"
#include "Orvel/delivery/CodexMessage.h"

namespace orvel {

TransferStanding OutboxState::standing(const RelayTransfer& transfer, const OpenRelay& relay) const {
    const auto pending = relay.pendingTransfer();
    const bool isOpen = pending && pending->id == transfer.id;
    const bool mayBeRetried = mayRetry(transfer);
    const auto* failure = failureOf(transfer.id);
    const auto* problem = receiptProblemOf(transfer.id);
    return standingOf(transfer, {.isDelivering = isOpen && operation.isSending(),
                                 .mayRetry = mayBeRetried,
                                 .sourceWentOn = isOpen && mayBeRetried && relay.sourceWentOn(),
                                 .hasFailed = failure != nullptr,
                                 .wasHandedOver = failure && failure->wasHandedOver,
                                 .isSeen = problem && problem->isSeen});
}

TransferStanding OutboxState::standing(const RelayInitialTransfer& initial) const {
    return operation.isSending() ? TransferStanding::delivering : standingOf(initial);
}

std::optional<std::string> OutboxState::refusal(const ConversationReference& destination,
                                                std::string_view text) const {
    if (destination.agent == Agent::codex) return CodexMessage::refusal(text, longestArgument);
    return goesThroughClaudeCode(destination) ? ClaudeCodeRelaySender::refusalOf(text) : std::nullopt;
}

bool OutboxState::canSendRelay(const WorkspaceState& workspace, const OpenRelay& relay) const {
    if (workspace.chainDestinationUnselected || operation.isUnderWay()) return false;
    if (const auto& conversation = workspace.conversation.get(); conversation && conversation->isBusy)
        return false;
    if (!workspace.sourceReference) return false;
    if (const auto initial = relay.activeInitial()) return initial->retryable == true;
    if (const auto pending = relay.pendingTransfer())
        return pending->source == workspace.source && mayRetry(*pending);
    return !relay.preview().empty();
}

} // namespace orvel
