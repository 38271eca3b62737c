// What every implementation of the port of child processes promises: the simulated one, and POSIX on both of
// its loops.

#include "Orvel/desktop/Processes.h"

#include "Failures.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "platform/posix/ChildConversation.h"

#include <csignal>

namespace orvel {
namespace {

using namespace std::string_literals;

// In memory what ChildProgram.cpp is on a disk, as far as this suite needs it.
class SimulatedChildProgram : public SimulatedProgram {
  public:
    SimulatedChildProgram(SimulatedChildSide side, const ChildLaunch& launch)
        : SimulatedProgram(side),
          task(launch.arguments.at(0)),
          input(launch.unattendedInput),
          value(launch.arguments.size() > 1 ? std::stoi(launch.arguments.at(1)) : 0) {}

    void started() override {
        if (task == "exit") side.exit(value);
        if (task == "raise") side.exit(128 + value);
        if (task == "echo" && input) {
            side.write(*input);
            side.exit(0);
        }
        if (task == "hang up") side.hangUp();
        if (task == "wait" || task == "refuse") side.write("yes");
        if (task == "print") {
            side.write(std::string(static_cast<std::size_t>(value), 'x'));
            side.exit(0);
        }
    }
    void received(std::string_view bytes) override {
        if (task == "echo") side.write(bytes);
    }
    void inputClosed() override {
        if (task == "echo") side.exit(0);
    }
    void terminated() override {
        if (task == "refuse")
            side.write("no");
        else
            side.exit(128 + SIGTERM);
    }

  private:
    std::string task;
    std::optional<std::string> input;
    int value;
};

struct SimulatedWorld : SimulatedDriver {
    SimulatedProcesses processes{loop};
    const char* program = "/a/program";
    SimulatedWorld() {
        processes.mostBytesPerTransfer = 1000;
        processes.programs[program] = [](SimulatedChildSide side, const ChildLaunch& launch) {
            return std::make_unique<SimulatedChildProgram>(side, launch);
        };
    }
};

template <typename Driver>
struct PosixWorld : Driver {
    PosixProcesses processes{this->loop, this->loop};
    const char* program = CHILD_PROGRAM;
};

template <typename World>
class ProcessesTest : public testing::Test {
  protected:
    std::unique_ptr<ChildProcess> start(std::vector<std::string> arguments, bool hasPipes = true) {
        return world.processes.start({world.program, std::move(arguments), {}, hasPipes});
    }

    World world;
};

using Worlds = testing::Types<SimulatedWorld, PosixWorld<PollDriver>, PosixWorld<QtDriver>>;
TYPED_TEST_SUITE(ProcessesTest, Worlds);

constexpr auto moved = PipeTransfer::Kind::moved;
constexpr auto notNow = PipeTransfer::Kind::notNow;
constexpr auto finished = PipeTransfer::Kind::finished;

TYPED_TEST(ProcessesTest, CarriesBytesBothWaysHoweverFewMoveAtATime) {
    std::string sent(1'000'000, '\0');
    for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * i / 7);
    const auto child = this->start({"echo"});
    std::string_view left = sent;
    std::string received;
    bool isPartial = false;
    while (received.size() < sent.size() && !this->HasFailure()) {
        const auto transfer = left.empty() ? PipeTransfer{} : child->write(left);
        ASSERT_NE(transfer.kind, finished);
        left.remove_prefix(transfer.count);
        isPartial |= transfer.kind == moved && !left.empty();
        std::array<char, 5000> bytes{};
        const auto arrived = child->read(bytes);
        ASSERT_NE(arrived.kind, finished);
        received.append(bytes.data(), arrived.count);
        if (transfer.kind == notNow && arrived.kind == notNow) {
            EXPECT_FALSE(waitUntilReady(this->world, *child, PipeEnd::output));
        }
    }
    EXPECT_TRUE(received == sent);
    EXPECT_TRUE(isPartial);
    EXPECT_FALSE(waitUntilReady(this->world, *child, PipeEnd::input));
    EXPECT_FALSE(child->exitStatus());
    child->closePipes();
    EXPECT_EQ(waitForExit(this->world, *child), 0);
}

TYPED_TEST(ProcessesTest, AnUnattendedChildFindsItsTextWholeAndWhatItSaysIsKept) {
    std::string text(300'000, 'x');
    text += "\n-\0end\n"s;
    const auto child = this->world.processes.start(
        {.executable = this->world.program, .arguments = {"echo"}, .unattendedInput = text});
    EXPECT_EQ(waitForExit(this->world, *child), 0);
    EXPECT_TRUE(child->said(1'000'000) == text);
    EXPECT_EQ(child->said(2), "xx");
}

TYPED_TEST(ProcessesTest, TellsHowAChildEnded) {
    const std::vector<std::pair<std::vector<std::string>, int>> cases{
        {{"exit", "255"}, 255},
        {{"raise", std::to_string(SIGTERM)}, 143},
        {{"raise", std::to_string(SIGKILL)}, 137},
    };
    for (const auto& [arguments, status] : cases) {
        for (const bool hasPipes : {false, true}) {
            SCOPED_TRACE(arguments[0] + ' ' + arguments[1]);
            const auto child = this->start(arguments, hasPipes);
            EXPECT_EQ(waitForExit(this->world, *child), status);
            child->terminate();
            child->kill();
            EXPECT_EQ(child->exitStatus(), status);
        }
    }
}

TYPED_TEST(ProcessesTest, AProgramThatIsNotThereFailsTheStart) {
    EXPECT_TRUE(this->world.processes.isExecutable(this->world.program));
    EXPECT_FALSE(this->world.processes.isExecutable("/there/is/none"));
    const auto end = endOf([&] { (void)this->world.processes.start({"/there/is/none", {}, {}, true}); });
    EXPECT_THAT(end, testing::StartsWith("launchFailed: "));
    EXPECT_THAT(end, testing::HasSubstr("/there/is/none"));
}

TYPED_TEST(ProcessesTest, AHangUpIsABreakThoughTheChildRuns) {
    const auto child = this->start({"hang up"});
    EXPECT_TRUE(waitUntilReady(this->world, *child, PipeEnd::output));
    std::array<char, 10> bytes{};
    EXPECT_EQ(child->read(bytes).kind, finished);
    EXPECT_FALSE(child->exitStatus());
}

TYPED_TEST(ProcessesTest, WhatAChildSaidBeforeItsEndCanBeReadButNothingReachesIt) {
    const auto child = this->start({"print", "50000"});
    EXPECT_EQ(waitForExit(this->world, *child), 0);
    EXPECT_TRUE(waitUntilReady(this->world, *child, PipeEnd::input));
    EXPECT_EQ(child->write("hello").kind, finished);
    EXPECT_TRUE(waitUntilReady(this->world, *child, PipeEnd::output));
    EXPECT_EQ(readSome(this->world, *child), std::string(50'000, 'x'));
}

TYPED_TEST(ProcessesTest, AskedToEndAChildMayRefuseButKilledItEnds) {
    const auto obedient = this->start({"wait"});
    EXPECT_EQ(readSome(this->world, *obedient, 3), "yes");
    obedient->terminate();
    EXPECT_EQ(waitForExit(this->world, *obedient), 128 + SIGTERM);

    const auto stubborn = this->start({"refuse"});
    EXPECT_EQ(readSome(this->world, *stubborn, 3), "yes");
    stubborn->terminate();
    EXPECT_EQ(readSome(this->world, *stubborn, 2), "no");
    EXPECT_FALSE(stubborn->exitStatus());
    std::array<char, 10> bytes{};
    EXPECT_EQ(stubborn->read(bytes).kind, notNow);
    stubborn->kill();
    EXPECT_EQ(waitForExit(this->world, *stubborn), 128 + SIGKILL);
}

TYPED_TEST(ProcessesTest, AWatchCallsOnceAndNotAfterItsEnd) {
    const auto child = this->start({"wait"});
    int calls = 0;
    auto ended = child->whenReady(PipeEnd::output, [&](bool) { calls += 100; });
    ended.reset();
    const auto kept = child->whenReady(PipeEnd::output, [&](bool) { ++calls; });
    waitUntil(this->world, [&] { return calls > 0; });
    // What made it ready is still there.
    EXPECT_FALSE(waitUntilReady(this->world, *child, PipeEnd::output));
    child->closePipes();
    EXPECT_TRUE(waitUntilReady(this->world, *child, PipeEnd::output));
    EXPECT_EQ(calls, 1);
}

TYPED_TEST(ProcessesTest, AWatchMayDestroyItselfAndItsChild) {
    for (const bool watchGoesFirst : {true, false}) {
        auto child = this->start({"wait"});
        bool isCalled = false;
        std::unique_ptr<PipeWatch> watch;
        watch = child->whenReady(PipeEnd::output, [&](bool) {
            if (watchGoesFirst) watch.reset();
            child.reset();
            watch.reset();
            isCalled = true;
            this->world.stop();
        });
        runWithin60s(this->world);
        EXPECT_TRUE(isCalled);
    }
}

TYPED_TEST(ProcessesTest, ClosedPipesAreBrokenForThoseWhoWaitAndThoseWhoCome) {
    const std::vector<std::tuple<std::string, bool, std::function<void(std::unique_ptr<ChildProcess>&)>>>
        cases{
            {"closed", true, [](auto& child) { child->closePipes(); }},
            {"destroyed", true, [](auto& child) { child.reset(); }},
            {"never there", false, [](auto&) {}},
        };
    for (const auto& [name, hasPipes, close] : cases) {
        SCOPED_TRACE(name);
        auto child = this->start({"be quiet"}, hasPipes);
        std::vector<bool> told;
        const auto hear = [&](bool isBroken) { told.push_back(isBroken); };
        std::vector<std::unique_ptr<PipeWatch>> watches;
        watches.push_back(child->whenReady(PipeEnd::output, hear));
        close(child);
        if (child) {
            watches.push_back(child->whenReady(PipeEnd::input, hear));
            std::array<char, 10> bytes{};
            EXPECT_EQ(child->read(bytes).kind, finished);
            EXPECT_EQ(child->write("hello").kind, finished);
        }
        EXPECT_TRUE(told.empty());
        waitUntil(this->world, [&] { return told.size() == watches.size(); });
        EXPECT_THAT(told, testing::Each(true));
    }
}

} // namespace
} // namespace orvel
