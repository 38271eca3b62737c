#pragma once
// The main loop: the one thread that owns all application state, its clocks and timers, and a way to run work
// on another thread. Coroutines wait on it with sleep, yield and background.

#include "OrvelCore/text/Date.h"

#include <chrono>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace orvel {

/// A running timer; destroying it stops it. It must not outlive its loop.
class Timer {
  public:
    virtual ~Timer() = default;
};

/// Belongs to the thread on which it is made: all but `post` is called there, which debug builds check.
class MainLoop {
  public:
    using Duration = std::chrono::nanoseconds;

    MainLoop() = default;
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;
    virtual ~MainLoop() = default;

    /// Monotonic time since some fixed moment. For deadlines.
    virtual Duration uptime() const = 0;

    /// The wall clock, which may jump. For dates shown to people.
    virtual Date now() const = 0;

    /// Runs `action` on the loop, after everything posted before. Callable from any thread.
    virtual void post(std::function<void()> action) = 0;

    /// Runs `action` once on the loop, no earlier than `delay` from now.
    [[nodiscard]] virtual std::unique_ptr<Timer> after(Duration delay, std::function<void()> action) = 0;

    /// Runs `work` on another thread and then `done` on the loop. `work` touches nothing but what it holds by
    /// value and lets no exception out. If the loop ends first, `done` is dropped. Throws std::system_error
    /// if no thread can be started; then neither of them runs.
    virtual void runInBackground(std::function<void()> work, std::function<void()> done) = 0;

    /// `co_await loop.sleep(delay)` resumes after the delay.
    auto sleep(Duration delay);

    /// `co_await loop.yield()` lets everything else that waits run first.
    auto yield();

    /// `co_await loop.background(function)` gives the function's result or throws its exception, or what
    /// `runInBackground` throws. The function runs on another thread, holds what it needs by value and
    /// touches nothing else. It is a named object, not a lambda in the expression: Task.h says why.
    template <typename Function>
    auto background(const Function& function);
    template <typename Function>
    void background(const Function&& function) = delete;
};

namespace detail {

// Lives in the frame of the waiting coroutine, so the timer is destroyed with it.
struct SleepAwaiter {
    MainLoop& loop;
    MainLoop::Duration delay;
    std::unique_ptr<Timer> timer;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        timer = loop.after(delay, [waiting] { waiting.resume(); });
    }
    void await_resume() const noexcept {}
};

template <typename Function>
class BackgroundAwaiter {
    using Result = std::invoke_result_t<Function>;

    // Outlives the coroutine if that is destroyed while the work runs. The other thread writes only `result`
    // and `failure`, before the loop is notified.
    struct Work {
        explicit Work(Function function) : function(std::move(function)) {}
        Function function;
        std::optional<Result> result;
        std::exception_ptr failure;
        std::coroutine_handle<> waiting;
    };

  public:
    BackgroundAwaiter(MainLoop& loop, Function function)
        : loop(loop), work(std::make_shared<Work>(std::move(function))) {}
    BackgroundAwaiter(const BackgroundAwaiter&) = delete;
    BackgroundAwaiter& operator=(const BackgroundAwaiter&) = delete;
    ~BackgroundAwaiter() { work->waiting = nullptr; }

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) {
        work->waiting = handle;
        loop.runInBackground(
            [work = work] {
                try {
                    work->result.emplace(work->function());
                } catch (...) {
                    work->failure = std::current_exception();
                }
            },
            [work = work] {
                if (work->waiting) work->waiting.resume();
            });
    }
    Result await_resume() {
        if (work->failure) std::rethrow_exception(work->failure);
        return std::move(*work->result);
    }

  private:
    MainLoop& loop;
    std::shared_ptr<Work> work;
};

} // namespace detail

/// In seconds, as records and policies count.
inline double secondsOf(MainLoop::Duration duration) {
    return std::chrono::duration<double>(duration).count();
}

inline auto MainLoop::sleep(Duration delay) {
    return detail::SleepAwaiter{*this, delay};
}

inline auto MainLoop::yield() {
    return detail::SleepAwaiter{*this, Duration::zero()};
}

template <typename Function>
auto MainLoop::background(const Function& function) {
    return detail::BackgroundAwaiter<Function>(*this, function);
}

} // namespace orvel
