#pragma once
// Waiting for a pipe of a child process and for a deadline, whichever comes first.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"

#include <coroutine>
#include <memory>

namespace orvel {

/// `co_await PipeWait(loop, child, end, until)` gives what came first; `until` is an uptime. It lives in the
/// frame of the waiting coroutine: if that is destroyed, nothing is waited for any more.
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
