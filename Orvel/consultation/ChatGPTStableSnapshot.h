#pragma once
// Reads again and again until a whole check passes, bounded in number and time.

#include "Orvel/accessibility/AccessibilityReads.h"
#include "Orvel/consultation/ChatGPTPointerProof.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/text/Failure.h"

#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace orvel::ChatGPTStableSnapshot {

/// The check did not pass within its bounds.
class Failure : public orvel::Failure {
  public:
    Failure() : orvel::Failure("timedOut", "The ChatGPT view did not become stable in time.") {}
};

/// The bounds of a capture.
struct Limits {
    int maximumReads = 0;
    MainLoop::Duration timeout{0};
    MainLoop::Duration pause = std::chrono::milliseconds(100); ///< Between two reads.
};

/// One whole check, the `number`th from 1; nothing while it does not pass. An ordinary function that begins
/// the task: a coroutine must not be a lambda.
template <typename T>
using Read = std::function<Task<std::optional<T>>(int number)>;

namespace detail {

/// What the read gives; nothing if it fails because the page is being redrawn, or because of a pending hit.
template <typename T>
Task<std::optional<T>> unlessPending(Task<std::optional<T>> read) {
    try {
        co_return co_await read;
    } catch (const AccessibilityReadFailure& failure) {
        if (!failure.isTransient()) throw;
    } catch (const ChatGPTPointerHit::Failure& failure) {
        static_cast<void>(failure); // The next read asks again.
    }
    co_return std::nullopt;
}

} // namespace detail

/// The first value that a read gives. A read that the page's redrawing made fail, or that met a pending hit,
/// gave none; any other failure leaves at once. A value that comes too late is not trusted. Throws Failure.
/// `loop` outlives the task.
template <typename T>
Task<T> capture(MainLoop& loop, Limits limits, Read<T> read) {
    const auto began = loop.uptime();
    const auto isLate = [&loop, began, limits] { return loop.uptime() - began >= limits.timeout; };
    for (int number = 1; number <= limits.maximumReads && !isLate(); ++number) {
        auto reading = detail::unlessPending<T>(read(number));
        auto value = co_await reading;
        if (isLate()) break;
        if (value) co_return *std::move(value);
        if (number < limits.maximumReads) co_await loop.sleep(limits.pause);
    }
    throw Failure();
}

} // namespace orvel::ChatGPTStableSnapshot
