#pragma once
// How far a delivery has come, and with it whether another try is safe.

#include "OrvelCore/relay/RelaySendError.h"

#include <exception>
#include <string>

namespace orvel {

/// Goes one way: once the destination may hold the text, nothing makes a retry safe again.
class DeliveryAttempt {
  public:
    /// A delivery that only looks at its destination as yet.
    static DeliveryAttempt reading() { return DeliveryAttempt(false); }
    /// A delivery of a text that the destination holds already.
    static DeliveryAttempt ofInsertedText() { return DeliveryAttempt(true); }

    void textMayBeInserted() { mayHoldText = true; }

    bool canRetry() const { return !mayHoldText; }

    /// What is thrown when it fails now.
    RelaySendError failure(const std::exception& reason) const { return failure(std::string(reason.what())); }
    RelaySendError failure(std::string message) const {
        return RelaySendError(std::move(message), canRetry());
    }

  private:
    explicit DeliveryAttempt(bool mayHoldText) : mayHoldText(mayHoldText) {}

    bool mayHoldText;
};

} // namespace orvel
