#pragma once
// Waits for a pipe of a child process or a deadline, whichever comes first.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"

#include <coroutine>
#include <memory>

namespace orvel {

/// `co_await PipeWait(loop, child, end, until)` returns which came first; `until` is an uptime. Lives in the
/// frame of the waiting coroutine, so destroying that cancels the wait.
class PipeWait {
  public:
    enum class Outcome { ready, broken, late };

    PipeWait(MainLoop& loop, ChildProcess& child, PipeEnd end, MainLoop::Duration until)
        : loop(loop), child(child), end(end), until(until) {}
    PipeWait(const PipeWait&) = delete;
    PipeWait& operator=(const PipeWait&) = delete;

    bool await_ready() const { return loop.uptime() >= until; }
    void await_suspend(std::coroutine_handle<> waiting) {
        watch = child.whenReady(end, [this, waiting](bool isBroken) {
            timer.reset();
            outcome = isBroken ? Outcome::broken : Outcome::ready;
            waiting.resume();
        });
        timer = loop.after(until - loop.uptime(), [this, waiting] {
            watch.reset();
            waiting.resume();
        });
    }
    Outcome await_resume() const noexcept { return outcome; }

  private:
    MainLoop& loop;
    ChildProcess& child;
    PipeEnd end;
    MainLoop::Duration until;
    Outcome outcome = Outcome::late;
    std::unique_ptr<PipeWatch> watch;
    std::unique_ptr<Timer> timer;
};

} // namespace orvel
