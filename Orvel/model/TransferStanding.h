#pragma once
// How far a saved message has come, told once for window, sidebar and terminal.

#include "OrvelCore/relay/RelayTransfer.h"

#include <string_view>

namespace orvel {

enum class TransferStanding {
    delivering,      ///< This program is at it.
    mayBeRetried,    ///< Its delivery failed, and nothing was inserted.
    waitingForPaste, ///< The person copied it; nothing has tried to deliver it.
    unconfirmed,     ///< A delivery may have inserted it.
    checking,        ///< Delivered, and looked for in the destination's transcript.
    received         ///< It stands in the destination's transcript.
};

/// What this run of the program knows beyond the record.
struct RunKnowledge {
    bool isDelivering = false;
    bool mayRetry = false;
    bool hasFailed = false;
};

TransferStanding standingOf(const RelayTransfer& transfer, const RunKnowledge& run = {});

/// Whether the delivery failed, for certain or perhaps.
bool hasFailed(TransferStanding standing);

/// The name for programs, "mayBeRetried".
std::string_view nameOf(TransferStanding standing);
/// A few words, "may be retried".
std::string_view wordsOf(TransferStanding standing);

} // namespace orvel
