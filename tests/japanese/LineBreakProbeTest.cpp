#include "OrvelCore/japanese/LineBreakProbe.h"

#include <limits>

using namespace orvel;
using enum LineBreakProbe::Result;
using enum LineBreakProbe::ReturnHandling;

namespace {

// 10 UTF-16 units: the emoji takes two.
const std::string text = "/orvel a😀";
constexpr std::int64_t length = 10;
const LineBreakProbe::Context here{7, "editor", "source", 3};

LineBreakProbe probe() {
    return *LineBreakProbe::begin(text, {length, 0}, here, 36, 100);
}

} // namespace

TEST(LineBreakProbe, BeginsOnlyWithTheCommandAndTheCaretAtItsEnd) {
    const std::tuple<std::string, EditorSelection, std::int64_t, double, bool> cases[] = {
        {text, {length, 0}, 36, 100, true},
        {text, {length, 0}, 76, 100, true},
        {" /orvel xy", {length, 0}, 36, 100, false},
        {text, {length - 1, 0}, 36, 100, false},
        {text, {length + 1, 0}, 36, 100, false},
        {text, {length, 1}, 36, 100, false},
        {text, {0, length}, 36, 100, false},
        {text, {length, 0}, 49, 100, false},
        {text, {length, 0}, 36, std::numeric_limits<double>::infinity(), false},
        {text, {length, 0}, 36, std::numeric_limits<double>::quiet_NaN(), false},
    };
    for (const auto& [typed, selection, keyCode, now, begins] : cases) {
        const auto begun = LineBreakProbe::begin(typed, selection, here, keyCode, now);
        ASSERT_EQ(begun.has_value(), begins) << selection.location << " " << keyCode << " " << now;
        if (!begun) continue;
        EXPECT_EQ(begun->deadline(), 100.25);
        EXPECT_EQ(begun->lastObservationSummary().text(), "Not observed");
    }
}

TEST(LineBreakProbe, JudgesWhatTheEditorHolds) {
    auto elsewhere = here;
    elsewhere.inputGeneration = 4;
    const struct {
        std::string now;
        EditorSelection selection;
        LineBreakProbe::Context context;
        double time;
        LineBreakProbe::Result result;
    } cases[] = {
        {text + "\n", {length + 1, 0}, here, 100.25, insertedSingleLineBreak},
        {text + "\n", {length, 0}, here, 100.1, cancelled},
        {text + "\n", {length, 1}, here, 100.1, cancelled},
        {text + "\n\n", {length + 2, 0}, here, 100.1, cancelled},
        {text + "\r", {length + 1, 0}, here, 100.1, cancelled},
        {"\n" + text, {length + 1, 0}, here, 100.1, cancelled},
        {text, {length, 0}, here, 100.1, waiting},
        {text, {0, length}, here, 100.1, waiting},
        {text, {1, length}, here, 100.1, cancelled},
        {text, {-1, 0}, here, 100.1, cancelled},
        {text, {0, -1}, here, 100.1, cancelled},
        {text, {length, std::numeric_limits<std::int64_t>::max()}, here, 100.1, cancelled},
        {text + "\n", {length + 1, 0}, here, 100.26, expiredWithoutEvidence},
        {text + "\n",
         {length + 1, 0},
         here,
         std::numeric_limits<double>::quiet_NaN(),
         expiredWithoutEvidence},
        {text + "\n", {length + 1, 0}, elsewhere, 100.1, cancelled},
        {text + "\n", {length + 1, 0}, elsewhere, 100.26, cancelled},
    };
    for (const auto& [now, selection, context, time, result] : cases) {
        auto watching = probe();
        watching.observe(now, selection, context, time);
        EXPECT_EQ(watching.result(), result) << now << " " << selection.location << " " << time;
        EXPECT_THAT(watching.lastObservationSummary().text(), testing::Not(testing::HasSubstr("orvel")));
        // Only a probe that waits looks again.
        watching.observe(text + "\n", {length + 1, 0}, here, 100.2);
        EXPECT_EQ(watching.result(), result == waiting ? insertedSingleLineBreak : result);
    }
}

TEST(LineBreakProbe, SummarisesWithoutContent) {
    auto watching = probe();
    watching.observe(text + "\n", {length + 1, 0}, here, 100.1);
    EXPECT_EQ(watching.lastObservationSummary().text(),
              "At start: one line / At observation: ends with a line break, selection location=11, "
              "selection length=0, content difference=One line break at the end");
}

TEST(LineBreakProbe, FollowsItsKeyUntilItIsReleased) {
    const struct {
        std::int64_t keyCode;
        bool isKeyDown, isRepeat;
        LineBreakProbe::ReturnHandling handling;
        LineBreakProbe::Result result;
    } steps[] = {
        {76, true, false, unrelated, waiting},         {76, false, false, unrelated, waiting},
        {36, true, true, suppressRepeat, waiting},     {36, true, true, suppressRepeat, waiting},
        {36, false, false, releaseWithShift, waiting}, {36, false, false, unrelated, waiting},
        {36, true, true, unrelated, waiting},          {36, true, false, unrelated, waiting},
    };
    auto watching = probe();
    for (const auto& [keyCode, isKeyDown, isRepeat, handling, result] : steps) {
        EXPECT_EQ(watching.handleReturn(keyCode, isKeyDown, isRepeat), handling);
        EXPECT_EQ(watching.result(), result);
    }
    EXPECT_TRUE(watching.keyReleased());
    auto interrupted = probe();
    EXPECT_EQ(interrupted.handleReturn(36, true, false), unrelated);
    EXPECT_EQ(interrupted.result(), cancelled);
    EXPECT_FALSE(interrupted.keyReleased());
}
