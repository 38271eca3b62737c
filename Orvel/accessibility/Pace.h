#pragma once
// Makes long work on the main loop pause regularly. Every key of the desktop waits while the loop is held, so
// a walk over many elements pauses between reads.

#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <coroutine>
#include <memory>

namespace orvel {

class Pace {
  public:
    /// The time between two pauses: short enough that one slow read more stays below the 10 ms for which
    /// anything may hold the loop.
    static constexpr MainLoop::Duration maximumHold = std::chrono::milliseconds(5);

    explicit Pace(MainLoop& loop) : loop(loop), resumed(loop.uptime()) {}

    /// `co_await pace.step()` returns at once, unless the last pause was too long ago; then it lets
    /// everything else that waits run first.
    auto step() { return Step{*this, nullptr}; }

  private:
    struct Step {
        Pace& pace;
        std::unique_ptr<Timer> timer;

        bool await_ready() const { return pace.loop.uptime() - pace.resumed < maximumHold; }
        void await_suspend(std::coroutine_handle<> waiting) {
            timer = pace.loop.after(MainLoop::Duration::zero(), [waiting] { waiting.resume(); });
        }
        void await_resume() {
            if (timer) pace.resumed = pace.loop.uptime();
        }
    };

    MainLoop& loop;
    MainLoop::Duration resumed;
};

} // namespace orvel
