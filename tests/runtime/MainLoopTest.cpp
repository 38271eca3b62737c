// What every main loop promises, tried on all three of them.

#include "Orvel/runtime/Task.h"
#include "runtime/LoopDrivers.h"

#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <vector>

namespace orvel {
namespace {

using namespace std::chrono_literals;

template <typename Driver>
class MainLoopTest : public testing::Test {
  protected:
    void run() { runWithin60s(driver); }

    // Ends the run after everything that is due by now.
    void stopSoon() {
        stopper = driver.loop.after(20ms, [this] { driver.stop(); });
    }

    Driver driver;
    std::vector<std::string> log;
    std::unique_ptr<Timer> stopper;
};

using Drivers = testing::Types<SimulatedDriver, PollDriver, QtDriver>;
TYPED_TEST_SUITE(MainLoopTest, Drivers);

TYPED_TEST(MainLoopTest, RunsPostedActionsInOrderAndNeverInsideThePost) {
    auto& loop = this->driver.loop;
    loop.post([&] {
        loop.post([&] {
            this->log.push_back("third");
            this->driver.stop();
        });
        this->log.push_back("first");
    });
    loop.post([&] { this->log.push_back("second"); });
    EXPECT_TRUE(this->log.empty());
    this->run();
    EXPECT_EQ(this->log, (std::vector<std::string>{"first", "second", "third"}));
}

TYPED_TEST(MainLoopTest, RunsTimersInTheOrderOfTheirTimesAndNoneThatWasDestroyed) {
    auto& loop = this->driver.loop;
    const auto began = loop.uptime();
    const auto late = loop.after(8ms, [&] {
        this->log.push_back("late");
        this->driver.stop();
    });
    std::unique_ptr<Timer> early; // It may destroy itself.
    early = loop.after(2ms, [&] {
        early.reset();
        this->log.push_back("early");
    });
    auto stopped = loop.after(4ms, [&] { this->log.push_back("stopped"); });
    stopped.reset();
    this->run();
    EXPECT_EQ(this->log, (std::vector<std::string>{"early", "late"}));
    EXPECT_GE(loop.uptime() - began, 8ms);
}

Task<void> readInBackground(MainLoop& loop, std::vector<std::string>& log, bool fails) {
    const auto here = std::this_thread::get_id();
    const auto work = [fails]() -> std::string {
        if (fails) throw std::runtime_error("unreadable");
        return "read";
    };
    try {
        log.push_back(co_await loop.background(work));
    } catch (const std::system_error&) {
        log.push_back("no thread");
    } catch (const std::runtime_error& failure) {
        log.push_back(failure.what());
    }
    if (std::this_thread::get_id() != here) log.push_back("on another thread");
}

TYPED_TEST(MainLoopTest, BackgroundGivesResultsAndFailuresOnTheLoop) {
    auto& loop = this->driver.loop;
    TaskScope tasks;
    enum { noThread, works, fails };
    for (const auto outcome : {noThread, works, fails}) {
        this->driver.exhaustThreads(outcome == noThread);
        tasks.start(readInBackground(loop, this->log, outcome == fails));
        loop.post([&] { this->stopSoon(); });
        this->run();
    }
    EXPECT_TRUE(tasks.isIdle());
    EXPECT_EQ(this->log, (std::vector<std::string>{"no thread", "read", "unreadable"}));
}

TYPED_TEST(MainLoopTest, WorkThatCannotBeStartedIsLetGo) {
    const auto held = std::make_shared<int>();
    this->driver.exhaustThreads(true);
    EXPECT_THROW(this->driver.loop.runInBackground([held] {}, [held] {}), std::system_error);
    EXPECT_EQ(held.use_count(), 1);
}

// What is called on the loop's thread alone, by the name that the check prints.
TYPED_TEST(MainLoopTest, DebugBuildsEndTheProgramWhereItIsUsedOnAnotherThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto& loop = this->driver.loop;
    const auto nothing = [] {};
    const std::pair<const char*, std::function<void()>> calls[] = {
        {"uptime", [&] { std::ignore = loop.uptime(); }},
        {"now", [&] { std::ignore = loop.now(); }},
        {"after", [&] { std::ignore = loop.after(1ms, nothing); }},
        {"runInBackground", [&] { loop.runInBackground(nothing, nothing); }},
    };
    for (const auto& [name, call] : calls)
        EXPECT_DEATH(std::thread(call).join(), std::string("not the main loop's: .*Loop::") + name);
}

TYPED_TEST(MainLoopTest, WorkWhoseOwnerIsGoneIsNeverResumed) {
    auto& loop = this->driver.loop;
    auto tasks = std::make_unique<TaskScope>();
    tasks->start(readInBackground(loop, this->log, false));
    tasks.reset();
    loop.post([&] { this->stopSoon(); });
    this->run();
    EXPECT_TRUE(this->log.empty());
}

TYPED_TEST(MainLoopTest, TakesActionsFromOtherThreads) {
    auto& loop = this->driver.loop;
    std::thread([&] {
        loop.post([&] {
            this->log.push_back("posted");
            this->driver.stop();
        });
    }).join();
    this->run();
    EXPECT_EQ(this->log, std::vector<std::string>{"posted"});
}

Task<void> takeTurns(MainLoop& loop, std::vector<std::string>& log) {
    for (int i = 0; i < 3; ++i) {
        log.push_back("turn");
        co_await loop.yield();
    }
}

TYPED_TEST(MainLoopTest, YieldingLetsPostedActionsIn) {
    auto& loop = this->driver.loop;
    TaskScope tasks;
    loop.post([&] {
        tasks.start(takeTurns(loop, this->log));
        loop.post([&] { this->log.push_back("posted"); });
        this->stopSoon();
    });
    this->run();
    ASSERT_EQ(this->log.size(), 4U);
    EXPECT_NE(this->log.back(), "posted");
}

TEST(SimulatedLoopTest, BackgroundWorkCountsAsOnAnotherThread) {
    SimulatedLoop loop;
    EXPECT_DEATH(
        {
            loop.runInBackground([&] { std::ignore = loop.uptime(); }, [] {});
            loop.run();
        },
        "not the main loop's: .*SimulatedLoop::uptime");
    loop.runInBackground([] {}, [&] { std::ignore = loop.uptime(); });
    loop.run();
}

TEST(SimulatedLoopTest, LetsHoursPassAtOnceAndTheWallClockJumpAlone) {
    SimulatedLoop loop;
    loop.setNow(1000);
    loop.setBackgroundDuration(2h);
    std::vector<std::string> log;
    TaskScope tasks;
    tasks.start(readInBackground(loop, log, false));
    loop.runFor(1h);
    EXPECT_TRUE(log.empty());
    loop.setNow(50);
    loop.runFor(1h);
    EXPECT_EQ(log, std::vector<std::string>{"read"});
    EXPECT_EQ(loop.uptime(), 2h);
    EXPECT_EQ(loop.now(), 50 + 3600);
}

} // namespace
} // namespace orvel
