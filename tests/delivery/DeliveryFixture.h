#pragma once
// A loop, its processes and a server of Codex, on which a task runs to its end in virtual time.

#include "Orvel/delivery/CodexThreadLoader.h"
#include "Orvel/delivery/CodexThreadLoaderError.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "OrvelCore/Failure.h"
#include "ScriptedCodexServer.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace orvel {

/// What became of a task: "done", or the case and the words of the failure.
template <typename T>
struct TaskOutcome {
    std::string words = "unfinished";
    std::optional<T> value;
};

template <typename T>
Task<void> noteOutcome(Task<T> work, TaskOutcome<T>& outcome) {
    try {
        outcome.value.emplace(co_await work);
        outcome.words = "done";
    } catch (const Failure& failure) {
        outcome.words = std::string(failure.caseName()) + ": " + failure.what();
    }
}

inline Task<bool> yes(Task<void> work) {
    co_await work;
    co_return true;
}

class DeliveryTest : public testing::Test {
  protected:
    template <typename T>
    TaskOutcome<T> run(Task<T> work) {
        TaskOutcome<T> outcome;
        {
            TaskScope scope;
            scope.start(noteOutcome(std::move(work), outcome));
            loop.run();
        }
        return outcome;
    }
    std::string run(Task<void> work) { return run(yes(std::move(work))).words; }

    /// A session that is connected; nothing if that failed.
    std::unique_ptr<CodexThreadSession> connected() {
        auto outcome = run(CodexThreadLoader::connect(loop, processes, server.executable, server.thread));
        EXPECT_EQ(outcome.words, "done");
        return outcome.value ? std::move(*outcome.value) : nullptr;
    }

    SimulatedLoop loop;
    SimulatedProcesses processes{loop};
    ScriptedCodexServer server{processes};
};

} // namespace orvel
