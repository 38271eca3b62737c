#pragma once
// Why a message was not delivered, and whether sending it again is safe.

#include "OrvelCore/text/Failure.h"

#include <string>

namespace orvel {

class RelaySendError : public Failure {
  public:
    explicit RelaySendError(std::string message, bool canRetry = false)
        : Failure("notSent", std::move(message)), retry(canRetry) {}

    /// True only if it is certain that no text was inserted.
    bool canRetry() const noexcept { return retry; }

  private:
    bool retry;
};

} // namespace orvel
