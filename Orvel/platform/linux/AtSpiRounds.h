#pragma once
// Readings of other programs side by side: what they ask goes out together, round by round, so that several
// of them take hardly longer than the longest.

#include "Orvel/platform/linux/AccessibilityBus.h"
#include "Orvel/runtime/Task.h"

#include <coroutine>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace orvel {

class AtSpiQuestion;

/// The readings are tasks that wait for nothing but an `AtSpiQuestion`. Belongs to one thread.
class AtSpiRounds {
  public:
    /// No answer is waited for beyond the deadline. The bus outlives this object.
    AtSpiRounds(AccessibilityBus& bus, BusDeadline deadline) : bus(bus), end(deadline) {}

    BusDeadline deadline() const { return end; }

    /// What the tasks come to, in their order; nothing for one that ended with an exception.
    template <typename T>
    std::vector<std::optional<T>> run(std::vector<Task<T>> tasks) {
        std::vector<std::optional<T>> results(tasks.size());
        TaskScope scope;
        for (std::size_t i = 0; i < tasks.size(); ++i) scope.start(keep(std::move(tasks[i]), &results[i]));
        while (!waiting.empty()) goOn();
        return results;
    }

    /// What one task comes to.
    template <typename T>
    std::optional<T> run(Task<T> task) {
        std::vector<Task<T>> tasks;
        tasks.push_back(std::move(task));
        return std::move(run(std::move(tasks)).front());
    }

  private:
    friend class AtSpiQuestion;

    template <typename T>
    static Task<void> keep(Task<T> work, std::optional<T>* result) {
        auto value = co_await work;
        result->emplace(std::move(value));
    }

    void goOn();

    AccessibilityBus& bus;
    BusDeadline end;
    std::vector<AtSpiQuestion*> waiting;
};

/// `co_await` of a named question gives the answers to its calls, which last until the task waits again.
class AtSpiQuestion {
  public:
    AtSpiQuestion(AtSpiRounds& rounds, std::vector<BusCall> calls)
        : rounds(rounds), calls(std::move(calls)) {}
    AtSpiQuestion(const AtSpiQuestion&) = delete;
    AtSpiQuestion& operator=(const AtSpiQuestion&) = delete;

    bool await_ready() const noexcept { return calls.empty(); }
    void await_suspend(std::coroutine_handle<> asker) {
        waiting = asker;
        rounds.waiting.push_back(this);
    }
    std::span<const BusReply> await_resume() const noexcept { return answers; }

  private:
    friend AtSpiRounds;

    AtSpiRounds& rounds;
    std::vector<BusCall> calls;
    std::coroutine_handle<> waiting;
    std::span<const BusReply> answers;
};

} // namespace orvel
