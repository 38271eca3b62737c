#pragma once
// Why an operation on the relay records was refused. The texts speak to the user of a link where the records
// have a pair.

#include "OrvelCore/Failure.h"

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
        linkCapacity
    };

    explicit RelayError(Case kind);

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

/// Throws the failure unless the condition holds.
inline void require(bool holds, RelayError::Case otherwise) {
    if (!holds) throw RelayError(otherwise);
}

} // namespace orvel
