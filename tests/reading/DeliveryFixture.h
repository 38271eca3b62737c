#pragma once
// A loop, its processes and a server of Codex, on which a task runs to its end in virtual time.

#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "Orvel/reading/CodexThreadLoader.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/Failure.h"
#include "reading/ScriptedCodexServer.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

using Server = ScriptedCodexServer;
using Json = Server::Json;

// What became of tasks, as the tests expect it.
inline const std::string invalid = "invalid: Couldn't verify the Codex connection response.";
inline const std::string timeout = "timeout: The Codex connection check timed out. Check delivery records.";
inline const std::string disconnected =
    "disconnected: The Codex conversation connection ended. Check delivery "
    "records without resending automatically.";

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

    /// How work comes to its end before its time: its child dies, its server hangs up, or nobody wants it.
    enum class End { childDies, hangsUp, isGivenUp };

    /// Does the work again and again, ended at its first use of the child, at its second and so on, until it
    /// comes through. No child may be left behind. Gives the number of uses.
    template <typename T>
    int endAtEveryStep(End end, const std::function<Task<T>()>& work) {
        for (int at = 0;; ++at) {
            SCOPED_TRACE("step " + std::to_string(at));
            TaskOutcome<T> outcome;
            auto scope = std::make_unique<TaskScope>();
            int step = 0;
            processes.beforeStep = [&](std::string_view) {
                if (step++ != at) return;
                if (end == End::childDies) processes.killAll();
                if (end == End::hangsUp) server.hangUp();
                if (end == End::isGivenUp) loop.post([&] { scope.reset(); });
            };
            scope->start(noteOutcome(work(), outcome));
            loop.run();
            processes.beforeStep = nullptr;
            EXPECT_EQ(processes.running(), 0);
            const bool isThrough = step <= at;
            EXPECT_EQ(scope == nullptr, !isThrough && end == End::isGivenUp);
            if (!isThrough) continue;
            EXPECT_EQ(outcome.words, "done");
            return at;
        }
    }

    SimulatedLoop loop;
    SimulatedProcesses processes{loop};
    Server server{processes};
};

} // namespace orvel
