#include "Orvel/model/OutboxState.h"

namespace orvel {

TransferStanding OutboxState::standing(const RelayTransfer& transfer, const OpenRelay& relay) const {
    const auto pending = operation.isSending() ? relay.pendingTransfer() : nullptr;
    return standingOf(transfer, {.isDelivering = pending && pending->id == transfer.id,
                                 .mayRetry = mayRetry(transfer),
                                 .hasFailed = failureOf(transfer.id) != nullptr});
}

bool OutboxState::canSendRelay(const WorkspaceState& workspace, const OpenRelay& relay) const {
    if (operation.isUnderWay()) return false;
    if (const auto& conversation = workspace.conversation.get(); conversation && conversation->isBusy)
        return false;
    if (!workspace.sourceReference) return false;
    if (const auto pending = relay.pendingTransfer())
        return pending->source == workspace.source && mayRetry(*pending);
    return !relay.preview().empty();
}

} // namespace orvel
