#pragma once
// The poll loop and real child processes, for tests of what takes place outside this process.

#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <exception>
#include <functional>
#include <string>
#include <utility>

namespace orvel {

class PollWorld {
  public:
    PollLoop loop;
    PosixProcesses processes{loop, loop};

    /// Runs the loop until the condition holds; gives false if it does not within a minute.
    bool runUntil(const std::function<bool()>& condition) {
        const auto deadline = loop.uptime() + std::chrono::seconds(60);
        std::unique_ptr<Timer> next;
        const std::function<void()> look = [&] {
            if (condition() || loop.uptime() >= deadline)
                loop.stop();
            else
                next = loop.after(std::chrono::milliseconds(10), look);
        };
        loop.post(look);
        loop.run();
        return condition();
    }

    void runFor(MainLoop::Duration duration) {
        const auto timer = loop.after(duration, [this] { loop.stop(); });
        loop.run();
    }

    /// Runs the work to its end; gives the text of its failure, or else "done", and "late" after a minute.
    std::string outcomeOf(Task<void> work) {
        std::string outcome = "late";
        TaskScope scope;
        scope.start(report(std::move(work), outcome));
        runUntil([&] { return outcome != "late"; });
        return outcome;
    }

    /// The exit status of a child that ends within a minute.
    std::optional<int> statusOf(const ChildLaunch& launch) {
        const auto child = processes.start(launch);
        std::optional<int> status;
        runUntil([&] { return (status = child->exitStatus()).has_value(); });
        return status;
    }

  private:
    static Task<void> report(Task<void> work, std::string& outcome) {
        std::string result = "done";
        try {
            co_await std::move(work);
        } catch (const std::exception& failure) {
            result = failure.what();
        }
        outcome = result;
    }
};

} // namespace orvel
