#pragma once
// Why an operation on the relay records was refused.

#include "OrvelCore/text/Failure.h"

namespace orvel {

class RelayError : public Failure {
  public:
    enum class Case {
        pairNotFound,
        pairArchived,
        activePairExists,
        conversationMismatch,
        busy,
        ambiguousBranches,
        missingCheckpoint,
        pendingTransfer,
        emptyTransfer,
        transferNotFound,
        destinationAlreadyExisted,
        invalidLink,
        duplicateLinkConversation,
        unsupportedAdjacentAgents,
        linkCapacity,
    };

    explicit RelayError(Case kind);
    /// With a sentence behind the case's own words.
    RelayError(Case kind, std::string_view explanation);

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

} // namespace orvel
