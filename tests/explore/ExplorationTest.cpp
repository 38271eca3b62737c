// A share of the exploration, and that it is the same every time.

#include "explore/Exploration.h"

#include <gtest/gtest.h>

namespace orvel::explore {
namespace {

using namespace std::chrono_literals;

std::string firstOf(const ExplorationReport& report) {
    return report.failures.empty() ? "" : report.failures.front();
}

TEST(ExplorationTest, undisturbedRunsEndAsTheyShould) {
    Exploration exploration;
    for (const auto& scenario : allScenarios()) {
        SCOPED_TRACE(scenario.name);
        const auto result = exploration.run({&scenario, {}, 1});
        const bool goesOn = scenario.afterwards != nullptr;
        EXPECT_EQ(result.isReceived, goesOn || scenario.ending == Ending::received) << result.failure;
        EXPECT_EQ(result.isRetryOffered, scenario.ending == Ending::refused) << result.failure;
        EXPECT_TRUE(result.broken.empty());
    }
}

TEST(ExplorationTest, noRuleBreaksUnderAnyFault) {
    Exploration exploration;
    std::uint64_t first = 1;
    for (const auto& scenario : allScenarios()) {
        const auto report = exploration.sweep(scenario, 29, first++);
        EXPECT_EQ(report.failed, 0u) << firstOf(report);
    }
    const auto report = exploration.mix(2, 4'000);
    EXPECT_EQ(report.failed, 0u) << firstOf(report);
}

TEST(ExplorationTest, sameSeedGivesTheSameTrace) {
    const auto withoutIdentifiers = [](const std::string& failure) {
        return failure.substr(0, failure.find("\ntransfer="));
    };
    Exploration one, two;
    for (std::uint64_t seed = 2; seed < 60; ++seed) {
        const auto first = one.run(one.mixture(seed)), second = two.run(two.mixture(seed));
        EXPECT_EQ(first.trace, second.trace) << seed;
        EXPECT_EQ(withoutIdentifiers(first.failure), withoutIdentifiers(second.failure)) << seed;
    }
}

TEST(ExplorationTest, ordinarySendReadsNoMoreThanItNeeds) {
    Exploration exploration;
    const auto result = exploration.run({scenarioNamed("ordinary"), {}, 1});
    EXPECT_LE(result.reads, 900u);
    EXPECT_LE(result.longestHold.duration - result.longestHold.slowestCall, 10ms);
}

} // namespace
} // namespace orvel::explore
