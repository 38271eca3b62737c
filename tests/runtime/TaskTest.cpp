// Coroutines: nesting, failures, and frames that are destroyed while they wait.

#include "Orvel/runtime/Task.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"

#include <stdexcept>
#include <string>

namespace orvel {
namespace {

using namespace std::chrono_literals;

// Counts what is alive, to notice a frame that leaks or dies twice.
struct Counted {
    explicit Counted(int& alive) : alive(alive) { ++alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --alive; }
    int& alive;
};

Task<int> inner(MainLoop& loop, int& alive, int value) {
    const Counted counted(alive);
    co_await loop.sleep(1s);
    if (value < 0) throw std::invalid_argument("negative");
    co_return 2 * value;
}

Task<void> outer(MainLoop& loop, int& alive, std::string& log) {
    const Counted counted(alive);
    log += std::to_string(co_await inner(loop, alive, 21));
    try {
        co_await inner(loop, alive, -1);
    } catch (const std::invalid_argument& failure) {
        log += std::string(" ") + failure.what();
    }
}

TEST(TaskTest, GivesResultsAndFailuresToWhoeverAwaits) {
    SimulatedLoop loop;
    int alive = 0;
    std::string log;
    TaskScope tasks;
    tasks.start(outer(loop, alive, log));
    EXPECT_FALSE(tasks.isIdle());
    loop.run();
    EXPECT_EQ(log, "42 negative");
    EXPECT_TRUE(tasks.isIdle());
    EXPECT_EQ(alive, 0);
}

TEST(TaskTest, EndingTheScopeDestroysNestedWorkWhereItWaits) {
    SimulatedLoop loop;
    int alive = 0;
    std::string log;
    {
        TaskScope tasks;
        tasks.start(outer(loop, alive, log));
        tasks.start(outer(loop, alive, log));
        EXPECT_EQ(alive, 4);
    }
    EXPECT_EQ(alive, 0);
    loop.run();
    EXPECT_EQ(log, "");
}

std::string textOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& known) {
        return known.what();
    }
}

Task<void> fail(MainLoop& loop, int& alive) {
    const Counted counted(alive);
    co_await inner(loop, alive, -1);
}

TEST(TaskTest, AFailureEndsOneWorkAndGoesToTheHandler) {
    SimulatedLoop loop;
    int alive = 0;
    std::string log;
    TaskScope tasks([&](const std::exception_ptr& failure) {
        log += "failed: " + textOf(failure) + (tasks.isIdle() ? " idle " : " ");
        tasks.start(outer(loop, alive, log));
    });
    tasks.start(fail(loop, alive));
    loop.run();
    EXPECT_EQ(log, "failed: negative idle 42 negative");
    EXPECT_TRUE(tasks.isIdle());
    EXPECT_EQ(alive, 0);
}

TEST(TaskTest, WithoutAHandlerAFailureGoesToTheStandardError) {
    SimulatedLoop loop;
    int alive = 0;
    TaskScope plain, failing([](const std::exception_ptr&) { throw std::runtime_error("handler"); });
    testing::internal::CaptureStderr();
    plain.start(fail(loop, alive));
    failing.start(fail(loop, alive));
    loop.run();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "An operation failed: negative\nAn operation failed: handler\n");
    EXPECT_TRUE(plain.isIdle() && failing.isIdle());
    EXPECT_EQ(alive, 0);
}

} // namespace
} // namespace orvel
