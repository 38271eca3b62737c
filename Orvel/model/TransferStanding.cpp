#include "Orvel/model/TransferStanding.h"

#include <algorithm>

namespace orvel {

namespace {

struct Row {
    TransferStanding standing;
    std::string_view name, words;
    TransferRemedy remedy;
    std::string_view situation;
};

constexpr Row rows[] = {
    {TransferStanding::delivering, "delivering", "delivering", TransferRemedy::none,
     "The message is saved and is being delivered."},
    {TransferStanding::mayBeRetried, "mayBeRetried", "may be retried", TransferRemedy::retryOrCopy,
     "The message is saved, and nothing was inserted."},
    {TransferStanding::outdated, "outdated", "not sent", TransferRemedy::copy,
     "The message is saved, and nothing was inserted. Its source has gone on since, so it can't be sent "
     "again as it stands."},
    {TransferStanding::waitingForPaste, "waitingForPaste", "waiting for paste", TransferRemedy::copy,
     "The message is saved and was not sent."},
    {TransferStanding::unconfirmed, "unconfirmed", "delivery unconfirmed", TransferRemedy::lookThenCopy,
     "The message is saved. Whether it was inserted is not known, so it is not sent again."},
    {TransferStanding::checking, "checking", "checking", TransferRemedy::lookAgain,
     "The message was delivered, but not yet seen in the transcript."},
    {TransferStanding::receiptUnsaved, "receiptUnsaved", "receipt not saved", TransferRemedy::lookAgain,
     "The message stands in the destination's transcript, but its receipt could not be saved."},
    {TransferStanding::received, "received", "received", TransferRemedy::none, "The message was received."},
};

const Row& rowOf(TransferStanding standing) {
    return *std::find_if(std::begin(rows), std::end(rows),
                         [&](const Row& row) { return row.standing == standing; });
}

} // namespace

TransferStanding standingOf(const RelayTransfer& transfer, const RunKnowledge& run) {
    if (!transfer.isPending()) return TransferStanding::received;
    if (run.isDelivering) return TransferStanding::delivering;
    if (run.isSeen) return TransferStanding::receiptUnsaved;
    if (run.mayRetry || transfer.retryable == true)
        return run.sourceWentOn ? TransferStanding::outdated : TransferStanding::mayBeRetried;
    if (run.wasHandedOver) return TransferStanding::checking;
    if (run.hasFailed) return TransferStanding::unconfirmed;
    if (transfer.deliveryMode != RelayDeliveryMode::copied) return TransferStanding::checking;
    // A delivery begins with taking the permission to repeat it away.
    return transfer.retryable ? TransferStanding::unconfirmed : TransferStanding::waitingForPaste;
}

// It is noted as submitted before the conversation is started, so that alone says nothing of its arrival.
TransferStanding standingOf(const RelayInitialTransfer& initial) {
    if (!initial.isPending()) return TransferStanding::checking;
    if (initial.retryable == true) return TransferStanding::mayBeRetried;
    return initial.deliveryMode == RelayDeliveryMode::copied ? TransferStanding::waitingForPaste
                                                             : TransferStanding::unconfirmed;
}

bool hasFailed(TransferStanding standing) {
    return standing == TransferStanding::mayBeRetried || standing == TransferStanding::outdated ||
           standing == TransferStanding::unconfirmed;
}

std::string_view nameOf(TransferStanding standing) {
    return rowOf(standing).name;
}

std::string_view wordsOf(TransferStanding standing) {
    return rowOf(standing).words;
}

std::string_view situationOf(TransferStanding standing) {
    return rowOf(standing).situation;
}

TransferRemedy remedyOf(TransferStanding standing) {
    return rowOf(standing).remedy;
}

} // namespace orvel
