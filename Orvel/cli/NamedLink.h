#pragma once
// Which link, or which saved first message, an identifier on the command line means.

#include "OrvelCore/relay/RelayState.h"

#include <string>
#include <vector>

namespace orvel {

/// A lone pair, or a chain of them.
struct NamedLink {
    std::string id; ///< The pair's own, or that of the chain.
    std::vector<RelayPair> pairs;
    bool isActive = true;

    bool isPending(const RelayState& state) const;
};

/// "One ↔ Two", in the link's order.
std::string titlesOf(const NamedLink& link, const RelayState& state);
/// Its conversations in order; those that can be told of damaged records.
std::vector<ConversationReference> conversationsOf(const NamedLink& link, const RelayState& state);

/// The open links in the order in which they were made, or the closed ones.
std::vector<NamedLink> linksOf(const RelayState& state, bool isActive);

/// The open link with this identifier, or the only one whose identifier, or that of one of its pairs, begins
/// with it, in letters of any case; or the closed one. Where a pair of a chain is meant, only that pair
/// stands in it. Throws CommandFailure, and RelayError::pairArchived where only a closed link fits.
NamedLink linkNamed(const std::string& id, const RelayState& state, bool isActive = true);

/// The pair by which a message goes out from the agent. Throws CommandFailure with all that fit where several
/// do.
RelayPair pairFrom(const NamedLink& link, Agent source, const RelayState& state);

/// The pair whose message waits. Throws CommandFailure where there is none.
RelayPair pendingPair(const NamedLink& link, const RelayState& state);

/// The first message that waits, by its identifier or how that begins; null if none does. Throws
/// CommandFailure where several begin so.
std::shared_ptr<const RelayInitialTransfer> pendingInitialNamed(const std::string& id,
                                                                const RelayState& state);

} // namespace orvel
