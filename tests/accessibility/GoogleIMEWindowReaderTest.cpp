// When the reader of the window list has an answer, and when it has none.

#include "Orvel/accessibility/GoogleIMEWindowReader.h"
#include "delivery/ScriptedClaude.h"

#include <limits>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using State = GoogleIMEWindowDiagnostic::State;

struct GoogleIMEWindowReaderTest : testing::Test {
    SimulatedLoop loop;
    ScriptedWindows windows{loop};
    ScriptedQueue queue{loop};
    GoogleIMEWindowReader reader{loop, windows, queue};
};

TEST_F(GoogleIMEWindowReaderTest, TellsTheStateAndWhenItWasSeen) {
    loop.spend(3s);
    windows.latency = 20ms;
    windows.names->push_back("GoogleJapaneseInputRenderer");
    const auto sample = reader.readFresh(0.025);
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->state, State::present);
    EXPECT_DOUBLE_EQ(sample->started, 3.0);
    EXPECT_NEAR(sample->duration, 0.020, 1e-9);
    EXPECT_EQ(windows.askedFor, 2049U);
    windows.names.reset();
    EXPECT_EQ(reader.readFresh(0.025)->state, State::unavailable);
}

TEST_F(GoogleIMEWindowReaderTest, WaitsNoLongerThanItMay) {
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    struct Row {
        double maximumWait;
        std::chrono::milliseconds latency;
        bool isAnswered;
        std::chrono::milliseconds wait;
    };
    for (const auto& [maximumWait, latency, isAnswered, wait] :
         {Row{0.025, 25ms, true, 25ms}, Row{0.025, 26ms, false, 25ms}, Row{1.0, 26ms, false, 25ms},
          Row{0.010, 11ms, false, 10ms}, Row{0.010, 9ms, true, 10ms}, Row{0.0, 0ms, false, 0ms},
          Row{-1.0, 0ms, false, 0ms}, Row{infinity, 0ms, false, 0ms},
          Row{std::numeric_limits<double>::quiet_NaN(), 0ms, false, 0ms}}) {
        queue.lastWait = 0ms;
        windows.latency = latency;
        EXPECT_EQ(reader.readFresh(maximumWait).has_value(), isAnswered) << maximumWait << latency.count();
        EXPECT_EQ(queue.lastWait, wait) << maximumWait;
    }
}

TEST_F(GoogleIMEWindowReaderTest, ALateReadKeepsOthersOutUntilItEndsAndIsForgotten) {
    queue.hangs = true;
    EXPECT_FALSE(reader.readFresh(0.025));
    queue.hangs = false;
    EXPECT_FALSE(reader.readFresh(0.025)) << "the first is still under way";
    windows.names->push_back("GoogleJapaneseInputRenderer");
    queue.late();
    windows.names->pop_back();
    EXPECT_EQ(reader.readFresh(0.025)->state, State::absent) << "not what the late read saw";
}

TEST_F(GoogleIMEWindowReaderTest, ADiagnosticReadMayTakeLongAndKeepsOthersOut) {
    windows.latency = 251ms;
    std::optional<std::optional<GoogleIMEWindowReader::Sample>> sample;
    TaskScope tasks;
    tasks.start(ScriptedClaude::keep(reader.read(), sample));
    EXPECT_FALSE(reader.readFresh(0.025));
    loop.run();
    ASSERT_TRUE(sample && *sample);
    EXPECT_EQ((*sample)->state, State::unavailable) << "older than a quarter of a second";
    windows.latency = 0ms;
    EXPECT_TRUE(reader.readFresh(0.025));
}

TEST_F(GoogleIMEWindowReaderTest, WithoutAThreadADiagnosticReadIsUnavailableAndKeepsNobodyOut) {
    loop.setThreadsExhausted(true);
    std::optional<std::optional<GoogleIMEWindowReader::Sample>> sample;
    TaskScope tasks;
    tasks.start(ScriptedClaude::keep(reader.read(), sample));
    ASSERT_TRUE(sample && *sample);
    EXPECT_EQ((*sample)->state, State::unavailable);
    EXPECT_TRUE(reader.readFresh(0.025));
}

TEST_F(GoogleIMEWindowReaderTest, ALateReadMayOutliveTheReader) {
    queue.hangs = true;
    {
        GoogleIMEWindowReader brief(loop, windows, queue);
        EXPECT_FALSE(brief.readFresh(0.025));
    }
    queue.late();
    EXPECT_EQ(windows.askedFor, 2049U);
}

} // namespace
} // namespace orvel
