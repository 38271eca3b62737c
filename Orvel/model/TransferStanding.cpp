#include "Orvel/model/TransferStanding.h"

namespace orvel {

TransferStanding standingOf(const RelayTransfer& transfer, const RunKnowledge& run) {
    if (!transfer.isPending()) return TransferStanding::received;
    if (run.isDelivering) return TransferStanding::delivering;
    if (run.mayRetry || transfer.retryable == true) return TransferStanding::mayBeRetried;
    if (run.hasFailed) return TransferStanding::unconfirmed;
    if (transfer.deliveryMode != RelayDeliveryMode::copied) return TransferStanding::checking;
    // A delivery begins with taking the permission to repeat it away.
    return transfer.retryable ? TransferStanding::unconfirmed : TransferStanding::waitingForPaste;
}

bool hasFailed(TransferStanding standing) {
    return standing == TransferStanding::mayBeRetried || standing == TransferStanding::unconfirmed;
}

std::string_view nameOf(TransferStanding standing) {
    switch (standing) {
    case TransferStanding::delivering: return "delivering";
    case TransferStanding::mayBeRetried: return "mayBeRetried";
    case TransferStanding::waitingForPaste: return "waitingForPaste";
    case TransferStanding::unconfirmed: return "unconfirmed";
    case TransferStanding::checking: return "checking";
    case TransferStanding::received: return "received";
    }
    return {};
}

std::string_view wordsOf(TransferStanding standing) {
    switch (standing) {
    case TransferStanding::delivering: return "delivering";
    case TransferStanding::mayBeRetried: return "may be retried";
    case TransferStanding::waitingForPaste: return "waiting for paste";
    case TransferStanding::unconfirmed: return "delivery unconfirmed";
    case TransferStanding::checking: return "checking";
    case TransferStanding::received: return "received";
    }
    return {};
}

} // namespace orvel
