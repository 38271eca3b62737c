#pragma once
// How far a saved message has come, and in which words, told once for window, sidebar and terminal.

#include "OrvelCore/relay/RelayTransfer.h"

#include <string_view>

namespace orvel {

enum class TransferStanding {
    delivering,      ///< This program is at it.
    mayBeRetried,    ///< Its delivery failed, and nothing was inserted.
    outdated,        ///< The same, but its source has gone on, so that only copying is left.
    waitingForPaste, ///< The person copied it; nothing has tried to deliver it.
    unconfirmed,     ///< A delivery may have inserted it.
    checking,        ///< Delivered, and looked for in the destination's transcript.
    receiptUnsaved,  ///< It stands in the destination's transcript, but that could not be saved.
    received         ///< It stands in the destination's transcript.
};

/// What this run of the program knows beyond the record.
struct RunKnowledge {
    bool isDelivering = false;
    bool mayRetry = false;
    bool sourceWentOn = false; ///< What was saved no longer follows from the source.
    bool hasFailed = false;
    bool wasHandedOver = false; ///< It failed only behind the delivery.
    bool isSeen = false;        ///< In the destination's transcript.
};

TransferStanding standingOf(const RelayTransfer& transfer, const RunKnowledge& run = {});

/// The same for a first message whose conversation is not known yet.
TransferStanding standingOf(const RelayInitialTransfer& initial);

/// Whether the delivery failed, for certain or perhaps.
bool hasFailed(TransferStanding standing);

/// The name for programs, "mayBeRetried".
std::string_view nameOf(TransferStanding standing);
/// A few words, "may be retried".
std::string_view wordsOf(TransferStanding standing);
/// What became of the message, in a sentence or two: "The message was received."
std::string_view situationOf(TransferStanding standing);

/// What the person can do about it.
enum class TransferRemedy {
    none,
    retryOrCopy,  ///< Retry sends it again; copying helps as well.
    copy,         ///< Copy it and paste it.
    lookThenCopy, ///< If it is not in the destination, copy it and paste it.
    lookAgain     ///< Look for it in the destination's transcript once more.
};

TransferRemedy remedyOf(TransferStanding standing);

} // namespace orvel
