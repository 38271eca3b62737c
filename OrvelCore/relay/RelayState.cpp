#include "OrvelCore/relay/RelayState.h"

namespace orvel {

RecordList<RelayPair> RelayState::activePairs() const {
    return pairs.where([](const RelayPair& pair) { return pair.isActive(); });
}

RecordList<RelayPair> RelayState::archivedPairs() const {
    return pairs.where([](const RelayPair& pair) { return !pair.isActive(); });
}

RecordList<RelayLink> RelayState::activeLinks() const {
    return links.where([](const RelayLink& link) { return link.isActive(); });
}

RecordList<RelayLink> RelayState::archivedLinks() const {
    return links.where([](const RelayLink& link) { return !link.isActive(); });
}

RecordList<RelayTransfer> RelayState::pendingTransfers() const {
    return transfers.where([](const RelayTransfer& transfer) { return transfer.isPending(); });
}

RecordList<RelayInitialTransfer> RelayState::pendingInitialTransfers() const {
    return initialTransfers.where([](const RelayInitialTransfer& initial) { return initial.isPending(); });
}

std::shared_ptr<const RelayLink> RelayState::link(std::string_view containingPairID) const {
    return links.findIf([&](const RelayLink& link) { return link.containsPair(containingPairID); });
}

} // namespace orvel
