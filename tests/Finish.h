#pragma once
// Runs asynchronous work to its end, for tests that have nothing else to do meanwhile.

#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <exception>
#include <memory>
#include <utility>

namespace orvel {

/// Runs the loop until the work has ended, and throws what the work throws.
template <typename Loop>
void finish(Loop& loop, Task<void> work) {
    std::exception_ptr failure;
    TaskScope tasks([&](const std::exception_ptr& left) { failure = left; });
    tasks.start(std::move(work));
    while (!tasks.isIdle()) {
        if constexpr (requires { loop.stop(); }) {
            const auto soon = loop.after(std::chrono::milliseconds(1), [&] { loop.stop(); });
            loop.run();
        } else {
            loop.run();
        }
    }
    if (failure) std::rethrow_exception(failure);
}

} // namespace orvel
