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

std::shared_ptr<const RelayTransfer> RelayState::pendingTransfer(std::string_view pairID) const {
    return transfers.findIf(
        [&](const RelayTransfer& transfer) { return transfer.isPending() && transfer.pairID == pairID; });
}

std::shared_ptr<const RelayInitialTransfer>
RelayState::pendingInitial(const ConversationReference& source) const {
    return initialTransfers.findIf([&](const RelayInitialTransfer& initial) {
        return initial.isPending() && sameIdentity(initial.sourceReference, source);
    });
}

std::vector<RelayPair> RelayState::adjacentPairs(const RelayLink& link,
                                                 const ConversationReference& reference) const {
    std::vector<RelayPair> adjacent;
    for (const auto& id : link.pairIDs)
        if (const auto pair = pairs.find(id);
            pair && pair->isActive() && sameIdentity(pair->endpoint(reference.agent), reference))
            adjacent.push_back(*pair);
    return adjacent;
}

std::shared_ptr<const RelayTransfer>
RelayState::pendingTransfer(const RelayLink& link, std::optional<std::string_view> exceptPairID) const {
    for (const auto& id : link.pairIDs)
        if (auto pending = id == exceptPairID ? nullptr : pendingTransfer(id)) return pending;
    return nullptr;
}

std::shared_ptr<const RelayInitialTransfer>
RelayState::pendingInitial(const RelayLink& link, std::optional<std::string_view> allowedInitialID) const {
    return initialTransfers.findIf([&](const RelayInitialTransfer& initial) {
        const auto& attachment = initial.linkAttachment;
        return initial.isPending() && initial.id != allowedInitialID &&
               (link.containsIdentity(initial.sourceReference) ||
                (attachment && link.containsPair(attachment->anchorPairID)));
    });
}

std::shared_ptr<const RelayLink> RelayState::link(std::string_view containingPairID) const {
    return links.findIf([&](const RelayLink& link) { return link.containsPair(containingPairID); });
}

} // namespace orvel
