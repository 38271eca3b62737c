#pragma once
// Waits for the page: does the same again and again until it succeeds, bounded in number and time.

#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace orvel::ChatGPTRounds {

inline constexpr int maximumRounds = 60;
inline constexpr MainLoop::Duration pause = std::chrono::milliseconds(250),
                                    timeout = std::chrono::seconds(15);

/// One round, which changes nothing and throws while it is too early. An ordinary function that begins the
/// task: a coroutine must not be a lambda.
template <typename T>
using Round = std::function<Task<T>()>;

namespace detail {

template <typename T>
Task<std::optional<T>> unlessFailing(Task<T> round, std::string& failure) {
    try {
        auto value = co_await round;
        co_return std::optional<T>(std::move(value));
    } catch (const std::exception& reason) {
        failure = reason.what();
    }
    co_return std::nullopt;
}

} // namespace detail

/// What the first round gives that succeeds. Throws RelaySendError with what the last one said. `loop`
/// outlives the task.
template <typename T>
Task<T> untilReady(MainLoop& loop, Round<T> round) {
    std::string failure = "Couldn't verify that the view is ready.";
    const auto end = loop.uptime() + timeout;
    for (int number = 1; number <= maximumRounds && loop.uptime() < end; ++number) {
        if (number > 1) co_await loop.sleep(pause);
        auto attempt = detail::unlessFailing<T>(round(), failure);
        auto value = co_await attempt;
        if (value) co_return *std::move(value);
    }
    throw RelaySendError(failure);
}

} // namespace orvel::ChatGPTRounds
