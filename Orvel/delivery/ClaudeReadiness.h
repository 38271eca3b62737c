#pragma once
// Why a reading of Claude's window gave nothing. The delivery turns them into what the user is told; they are
// apart because some mean that it is only too early.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/text/Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// An attribute could not be read.
class ClaudeAXReadFailure : public Failure {
  public:
    ClaudeAXReadFailure(std::string_view attribute, AXStatus status)
        : Failure("axReadFailed", "Couldn't read the Claude view. AX status=" +
                                      std::to_string(static_cast<std::int32_t>(status)) +
                                      ". Message content is kept."),
          attributeName(attribute),
          axStatus(status) {}

    const std::string& attribute() const noexcept { return attributeName; }
    AXStatus status() const noexcept { return axStatus; }

    /// Whether a page that is being drawn may cause it.
    bool isTransient() const noexcept {
        return axStatus == AXStatus::cannotComplete || axStatus == AXStatus::invalidElement;
    }

  private:
    std::string attributeName;
    AXStatus axStatus;
};

namespace ClaudeReadiness {

/// What was waited for did not come in time.
class Failure : public orvel::Failure {
  public:
    Failure()
        : orvel::Failure("timedOut",
                         "The Claude view did not become ready in time. No message was inserted.") {}
};

} // namespace ClaudeReadiness

/// The same reading, but one that a page that is being drawn made fail gives nothing.
template <typename T>
Task<std::optional<T>> unlessTooEarly(Task<std::optional<T>> reading) {
    try {
        co_return co_await reading;
    } catch (const ClaudeAXReadFailure& failure) {
        if (!failure.isTransient()) throw;
    }
    co_return std::nullopt;
}

/// The window shows no page of the path that was asked for.
class RouteSnapshotMismatch : public Failure {
  public:
    RouteSnapshotMismatch()
        : Failure("routeNotShown", "Claude is not displaying the selected destination conversation. No "
                                   "message was inserted.") {}
};

} // namespace orvel
