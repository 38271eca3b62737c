#include "OrvelCore/relay/QueuedReceipt.h"

#include "OrvelCore/relay/RelayText.h"

#include <algorithm>

namespace orvel {

bool standsAsQueuedCommand(const RelayTransfer& transfer, const Conversation& destination) {
    const auto& queued = destination.queuedCommands;
    if (queued.empty() || !transfer.isPending()) return false;
    std::size_t start = 0;
    if (transfer.destinationBefore) {
        const auto before = positionOf(destination.messages, *transfer.destinationBefore);
        if (!before) return false;
        start = *before + 1;
    }
    const ReceiptMatcher payload(*transfer.payload, destination.source);
    return std::any_of(queued.begin(), queued.end(), [&](const QueuedCommand& command) {
        return command.messagesBefore >= start && payload.matches(command.text);
    });
}

} // namespace orvel
