#pragma once
// Asynchronous work on the main loop as C++20 coroutines: a Task<T> is awaited by its caller, a TaskScope
// owns work that nobody awaits.
//
// Rules for safe coroutines: parameters by value, no capturing lambda coroutines, no co_await inside catch,
// and after every co_await a check that the work is still wanted.

#include <coroutine>
#include <cstdio>
#include <exception>
#include <functional>
#include <list>
#include <optional>
#include <utility>

namespace orvel {

template <typename T>
class Task;

namespace detail {

// The part of a promise that doesn't depend on the result type.
class TaskPromiseBase {
  public:
    std::suspend_always initial_suspend() const noexcept { return {}; }
    auto final_suspend() const noexcept { return Finish{}; }
    void unhandled_exception() { failure = std::current_exception(); }

    std::coroutine_handle<> waiting;
    std::exception_ptr failure;

  private:
    struct Finish {
        bool await_ready() const noexcept { return false; }
        template <typename Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> finished) const noexcept {
            const auto next = finished.promise().waiting;
            return next ? next : std::coroutine_handle<>(std::noop_coroutine());
        }
        void await_resume() const noexcept {}
    };
};

template <typename T>
struct TaskPromise : TaskPromiseBase {
    Task<T> get_return_object();
    template <typename Value>
    void return_value(Value&& value) {
        result.emplace(std::forward<Value>(value));
    }
    T take() {
        if (failure) std::rethrow_exception(failure);
        return std::move(*result);
    }
    std::optional<T> result;
};

template <>
struct TaskPromise<void> : TaskPromiseBase {
    Task<void> get_return_object();
    void return_void() const noexcept {}
    void take() const {
        if (failure) std::rethrow_exception(failure);
    }
};

} // namespace detail

/// Work that starts when awaited, and returns a T or throws. Destroying it while it waits cancels it: its
/// locals are destroyed, and nothing resumes it.
template <typename T = void>
class [[nodiscard]] Task {
  public:
    using promise_type = detail::TaskPromise<T>;
    using Handle = std::coroutine_handle<promise_type>;

    explicit Task(Handle handle) : handle(handle) {}
    Task(Task&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    Task& operator=(Task&&) = delete;
    ~Task() {
        if (handle) handle.destroy();
    }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> waiting) {
        handle.promise().waiting = waiting;
        return handle;
    }
    T await_resume() { return handle.promise().take(); }

  private:
    Handle handle;
};

template <typename T>
Task<T> detail::TaskPromise<T>::get_return_object() {
    return Task<T>(Task<T>::Handle::from_promise(*this));
}

inline Task<void> detail::TaskPromise<void>::get_return_object() {
    return Task<void>(Task<void>::Handle::from_promise(*this));
}

/// Owns work that runs on its own. An exception that leaves such work ends that work alone. Destroying the
/// scope ends what still waits; neither its own work nor its handler may destroy it.
class TaskScope {
  public:
    /// Told of an exception that has left work, which is under way no more.
    using FailureHandler = std::function<void(const std::exception_ptr& failure)>;

    /// Writes a line to the standard error. What the handler itself throws comes here too.
    static void report(const std::exception_ptr& failure) noexcept {
        try {
            std::rethrow_exception(failure);
        } catch (const std::exception& known) {
            std::fprintf(stderr, "An operation failed: %s\n", known.what());
        } catch (...) {
            std::fprintf(stderr, "An operation failed.\n");
        }
    }

    explicit TaskScope(FailureHandler failed = report) : failed(std::move(failed)) {}
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;

    /// Runs the work up to its first wait; the loop runs the rest.
    void start(Task<void> work) {
        const auto place = running.emplace(running.end());
        const auto handle = run(std::move(work), this, place).handle;
        place->handle = handle;
        handle.resume();
    }

    /// Whether no work is in progress.
    bool isIdle() const { return running.empty(); }

  private:
    struct Root {
        struct promise_type {
            Root get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
            std::suspend_always initial_suspend() const noexcept { return {}; }
            std::suspend_never final_suspend() const noexcept { return {}; }
            void return_void() const noexcept {}
            void unhandled_exception() const noexcept { report(std::current_exception()); }
        };
        std::coroutine_handle<promise_type> handle;
    };

    // A coroutine in progress: destroyed with its entry in the list, unless it has finished.
    struct Running {
        std::coroutine_handle<Root::promise_type> handle;
        Running() = default;
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
        ~Running() {
            if (handle) handle.destroy();
        }
    };

    static Root run(Task<void> work, TaskScope* scope, std::list<Running>::iterator place) {
        std::exception_ptr failure;
        try {
            co_await work;
        } catch (...) {
            failure = std::current_exception();
        }
        place->handle = nullptr; // The frame frees itself when it ends.
        scope->running.erase(place);
        if (failure) scope->failed(failure);
    }

    FailureHandler failed;
    std::list<Running> running;
};

} // namespace orvel
