#pragma once
// How long work on the main loop may go on without a pause. While it goes on, the keys of the whole desktop
// wait, so a walk over many elements asks before each one.

#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <coroutine>
#include <memory>

namespace orvel {

class Pace {
  public:
    /// So much shorter than the 10 ms that anything may hold the loop that one slow read still fits.
    static constexpr MainLoop::Duration longestHold = std::chrono::milliseconds(5);

    explicit Pace(MainLoop& loop) : loop(loop), resumed(loop.uptime()) {}

    /// `co_await pace.step()` goes on at once, unless the last pause was too long ago; then it lets
    /// everything else that waits have its turn first.
    auto step() { return Step{*this, nullptr}; }

  private:
    struct Step {
        Pace& pace;
        std::unique_ptr<Timer> timer;

        bool await_ready() const { return pace.loop.uptime() - pace.resumed < longestHold; }
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
