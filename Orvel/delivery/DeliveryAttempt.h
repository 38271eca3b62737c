#pragma once
// How far a delivery has come, and so whether a retry is safe.

#include "OrvelCore/relay/RelaySendError.h"

#include <exception>
#include <string>

namespace orvel {

/// Once the destination may hold the text, a retry never becomes safe again.
class DeliveryAttempt {
  public:
    /// A delivery that has not changed anything yet.
    static DeliveryAttempt beforeInsertion() { return DeliveryAttempt(false); }
    /// A delivery of a text that is already in the destination.
    static DeliveryAttempt afterInsertion() { return DeliveryAttempt(true); }

    void textMayBeInserted() { mayHoldText = true; }

    bool canRetry() const { return !mayHoldText; }

    /// The exception to throw if the delivery fails now.
    RelaySendError failure(const std::exception& reason) const { return failure(std::string(reason.what())); }
    RelaySendError failure(std::string message) const {
        return RelaySendError(std::move(message), canRetry());
    }

  private:
    explicit DeliveryAttempt(bool mayHoldText) : mayHoldText(mayHoldText) {}

    bool mayHoldText;
};

} // namespace orvel
