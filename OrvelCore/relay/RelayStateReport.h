#pragma once
// What a relay state holds, and whether it keeps the rules that the operations never break.

#include "OrvelCore/relay/RelayState.h"

#include <cstddef>
#include <string>
#include <vector>

namespace orvel {

struct RelayStateReport {
    std::size_t activePairs = 0, archivedPairs = 0;
    std::size_t activeLinks = 0, archivedLinks = 0;
    std::size_t pendingTransfers = 0, receivedTransfers = 0;
    std::size_t pendingInitialTransfers = 0, boundInitialTransfers = 0;
    std::size_t drafts = 0, checkpoints = 0, incomingStarts = 0;
    std::vector<std::string>
        violations; ///< A sentence for each broken rule; they name records by identifier alone.

    static RelayStateReport of(const RelayState& state);
};

/// The broken rules alone, a line each; empty if all are kept. Takes a few milliseconds for 10,000 transfers.
std::string violationsOf(const RelayState& state);

} // namespace orvel
