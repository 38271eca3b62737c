// When the reader of the window list has an answer, and when it has none.

#include "Orvel/accessibility/GoogleIMEWindowReader.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedTyping.h"

#include <limits>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using State = GoogleIMEWindowDiagnostic::State;

struct GoogleIMEWindowReaderTest : testing::Test {
    SimulatedLoop loop;
    SimulatedSteps steps{loop};
    SimulatedWindowList windows{steps};
    SimulatedSideQueue queue{loop, windows};
    GoogleIMEWindowReader reader{loop, windows, queue};
};

TEST_F(GoogleIMEWindowReaderTest, TellsTheStateAndWhenItWasSeen) {
    loop.spend(3s);
    windows.duration = 20ms;
    windows.showCandidates(true);
    const auto sample = reader.readFresh(0.025);
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->state, State::present);
    EXPECT_DOUBLE_EQ(sample->started, 3.0);
    EXPECT_NEAR(sample->duration, 0.020, 1e-9);
    windows.isReadable = false;
    EXPECT_EQ(reader.readFresh(0.025)->state, State::unavailable);
    windows.isReadable = true;
    windows.owners.assign(3'000, "Dock");
    EXPECT_EQ(reader.readFresh(0.025)->state, State::unavailable) << "more than are looked at";
}

TEST_F(GoogleIMEWindowReaderTest, WaitsNoLongerThanItMay) {
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    for (const auto& [maximumWait, duration, isAnswered, wait] :
         {std::tuple{0.025, 25ms, true, 25ms}, std::tuple{0.025, 26ms, false, 25ms},
          std::tuple{1.0, 26ms, false, 25ms}, std::tuple{0.010, 11ms, false, 10ms},
          std::tuple{0.010, 9ms, true, 9ms}, std::tuple{0.0, 0ms, false, 0ms},
          std::tuple{-1.0, 0ms, false, 0ms}, std::tuple{infinity, 0ms, false, 0ms},
          std::tuple{std::numeric_limits<double>::quiet_NaN(), 0ms, false, 0ms}}) {
        windows.duration = duration;
        const auto began = loop.uptime();
        EXPECT_EQ(reader.readFresh(maximumWait).has_value(), isAnswered) << maximumWait << duration.count();
        EXPECT_EQ(loop.uptime() - began, wait) << maximumWait;
        loop.run();
    }
}

TEST_F(GoogleIMEWindowReaderTest, ALateReadKeepsOthersOutUntilItEndsAndIsForgotten) {
    windows.duration = 30ms;
    EXPECT_FALSE(reader.readFresh(0.025));
    windows.duration = 0ms;
    EXPECT_FALSE(reader.readFresh(0.025)) << "the first is still under way";
    windows.showCandidates(true);
    loop.run();
    windows.showCandidates(false);
    EXPECT_EQ(reader.readFresh(0.025)->state, State::absent) << "not what the late read saw";
}

Task<void> keep(Task<std::optional<GoogleIMEWindowReader::Sample>> reading,
                std::optional<GoogleIMEWindowReader::Sample>& sample) {
    sample = co_await reading;
}

// Its reads may run on any thread, and take the time that background work takes.
struct FixedWindowList : WindowList {
    Read reader() override {
        return [](std::size_t) { return std::optional(std::vector<OwnerName>{"Dock"}); };
    }
};

TEST_F(GoogleIMEWindowReaderTest, ADiagnosticReadMayTakeLongAndKeepsOthersOut) {
    FixedWindowList fixed;
    GoogleIMEWindowReader diagnosing(loop, fixed, queue);
    loop.setBackgroundDuration(251ms);
    std::optional<GoogleIMEWindowReader::Sample> sample;
    TaskScope tasks;
    tasks.start(keep(diagnosing.read(), sample));
    EXPECT_FALSE(diagnosing.readFresh(0.025));
    loop.run();
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->state, State::unavailable) << "older than a quarter of a second";
    EXPECT_TRUE(diagnosing.readFresh(0.025));
}

TEST_F(GoogleIMEWindowReaderTest, WithoutAThreadADiagnosticReadIsUnavailableAndKeepsNobodyOut) {
    loop.setThreadsExhausted(true);
    std::optional<GoogleIMEWindowReader::Sample> sample;
    TaskScope tasks;
    tasks.start(keep(reader.read(), sample));
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->state, State::unavailable);
    EXPECT_TRUE(reader.readFresh(0.025));
}

} // namespace
} // namespace orvel
