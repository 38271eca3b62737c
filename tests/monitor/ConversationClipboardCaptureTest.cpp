// What a capture keeps of the clipboard, what it claims, and that the clipboard survives whatever happens.

#include "Orvel/monitor/ConversationClipboardCapture.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedPasteboard.h"

namespace orvel {
namespace {

using Items = std::vector<PasteboardItem>;
using Capture = ConversationClipboardCapture;
using Case = Capture::Failure::Case;

const std::string plain(PasteboardType::string), url(PasteboardType::url);
const std::string link = "codex://threads/01234567-89ab-4cde-8f01-23456789abcd";
const std::string otherLink = "codex://threads/11111111-2222-4333-8444-555555555555";
const Items original{{{plain, "kept"}, {"public.html", std::string("<b>\0</b>", 8)}}, {{"public.png", ""}}};
const Items foreign{{{plain, "written by another program"}}};

// A clipboard with types of no item, if a test says so.
struct Clipboard : SimulatedPasteboard {
    using SimulatedPasteboard::SimulatedPasteboard;
    std::vector<std::string> types() override {
        return typesWithoutItems ? std::vector<std::string>{"promise"} : SimulatedPasteboard::types();
    }
    bool typesWithoutItems = false;
};

struct ConversationClipboardCaptureTest : testing::Test {
    ConversationClipboardCaptureTest() { pasteboard.copiedElsewhere(original); }

    // How a call ends: nothing, or the case of its failure.
    template <typename Call>
    static std::optional<Case> failureOf(Call call) {
        try {
            call();
        } catch (const Capture::Failure& failure) {
            return failure.kind();
        }
        return std::nullopt;
    }
    // Refuses each call of this operation, for which the port gives nothing.
    void refuse(std::string_view operation) {
        steps.observer = [operation](SimulatedStep& step) {
            if (step.operation == operation) step.report = AXStatus::failure;
        };
    }
    // Lets something happen directly before the step of this number, counted from now.
    void before(std::uint64_t number, const std::function<void()>& happening) {
        steps.observer = [number, happening, first = steps.taken()](const SimulatedStep& step) {
            if (step.number == first + number) happening();
        };
    }

    SimulatedLoop loop;
    SimulatedSteps steps{loop};
    Clipboard pasteboard{steps};
};

Items manyItems(std::size_t count) {
    return Items(count, PasteboardItem{{plain, "x"}});
}

Items manyTypes(std::size_t count) {
    Items items(2);
    items[0][plain] = "x";
    for (std::size_t i = 0; i < count; ++i) items[1]["type" + std::to_string(i)] = "y";
    return items;
}

Items manyBytes(std::size_t count) {
    const auto third = count / 3;
    return {{{plain, std::string(third, 'a')}, {url, std::string(third, 'b')}},
            {{plain, std::string(count - 2 * third, 'c')}}};
}

TEST_F(ConversationClipboardCaptureTest, KeepsEverythingUpToItsLimitsAndGivesItBack) {
    for (const auto& items : {Items(), original, manyItems(32), manyTypes(64), manyBytes(8'388'608)}) {
        pasteboard.copiedElsewhere(items);
        Capture capture(pasteboard);
        capture.expectCopy();
        pasteboard.copiedElsewhere(link);
        EXPECT_EQ(capture.freshText(), link);
        EXPECT_FALSE(capture.isSettled());
        EXPECT_TRUE(capture.restoreIfOwned());
        EXPECT_TRUE(capture.isSettled());
        EXPECT_TRUE(pasteboard.contents() == items) << items.size();
        EXPECT_FALSE(capture.restoreIfOwned()) << "there is nothing left to give back";
    }
}

TEST_F(ConversationClipboardCaptureTest, RefusesWhatItCantKeepAndTouchesNothing) {
    const auto isRefused = [this] {
        const auto held = pasteboard.contents();
        const auto failure = failureOf([this] { const Capture capture(pasteboard); });
        return failure == Case::snapshotFailed && pasteboard.contents() == held;
    };
    for (const auto& items : {manyItems(33), manyTypes(65), manyBytes(8'388'609), Items(1)}) {
        pasteboard.copiedElsewhere(items);
        EXPECT_TRUE(isRefused()) << items.size();
    }
    pasteboard.copiedElsewhere(Items());
    pasteboard.typesWithoutItems = true;
    EXPECT_TRUE(isRefused());
    pasteboard.typesWithoutItems = false;
    pasteboard.copiedElsewhere(original);
    for (const auto* operation : {"itemCount", "typesOf", "data"}) {
        refuse(operation);
        EXPECT_TRUE(isRefused()) << operation;
    }
    steps.observer = nullptr;
    EXPECT_FALSE(isRefused());
}

TEST_F(ConversationClipboardCaptureTest, RefusesAClipboardThatChangesMeanwhile) {
    const auto first = steps.taken();
    { const Capture capture(pasteboard); }
    const auto count = steps.taken() - first;
    for (std::uint64_t number = 2; number <= count; ++number) {
        pasteboard.copiedElsewhere(original);
        before(number, [this] { pasteboard.copiedElsewhere(original); });
        EXPECT_EQ(failureOf([this] { const Capture capture(pasteboard); }), Case::snapshotFailed) << number;
    }
}

TEST_F(ConversationClipboardCaptureTest, ClaimsTheBareLinkAloneAndLeavesTheRestStanding) {
    struct Row {
        const char* what;
        Items copied;
        std::optional<std::string> text;
        std::optional<Case> failure;
        bool isClaimed;
    };
    const auto longest = link + "?" + std::string(4096 - link.size() - 1, 'x');
    for (const auto& row : {
             Row{"the link", {{{plain, link}, {"public.html", "<a>"}}}, link, {}, true},
             Row{"the link as an URL", {{{url, link}}}, link, {}, true},
             Row{"a link beside another URL", {{{plain, link}, {url, "https://x"}}}, link, {}, true},
             Row{"another host", {{{plain, longest}}}, longest, {}, false},
             Row{"too long a text", {{{plain, longest + "x"}}}, {}, Case::wrongShape, false},
             Row{"no text", {{{"public.png", link}}}, {}, Case::wrongShape, false},
             Row{"nothing", {}, {}, Case::wrongShape, false},
             Row{"two links", {{{plain, link}}, {{plain, link}}}, {}, Case::wrongShape, false},
             Row{"another program's text", foreign, {}, Case::changed, false},
             Row{"a text with a link", {{{plain, "See " + link}}}, {}, Case::changed, false},
         }) {
        pasteboard.copiedElsewhere(original);
        Capture capture(pasteboard);
        capture.expectCopy();
        EXPECT_EQ(capture.freshText(), std::nullopt) << "nothing has come yet";
        pasteboard.copiedElsewhere(row.copied);
        std::optional<std::string> text;
        EXPECT_EQ(failureOf([&] { text = capture.freshText(); }), row.failure) << row.what;
        EXPECT_EQ(text, row.text) << row.what;
        EXPECT_EQ(capture.restoreIfOwned(), row.isClaimed) << row.what;
        EXPECT_EQ(capture.isSettled(), row.isClaimed) << row.what;
        EXPECT_TRUE(pasteboard.contents() == (row.isClaimed ? original : row.copied)) << row.what;
    }
}

TEST_F(ConversationClipboardCaptureTest, TheClaimOfTheFirstCopyHoldsUntilTheSecondIsThere) {
    struct Row {
        const char* what;
        std::optional<Items> between, second;
        Items end;
    };
    const Items firstCopy{{{plain, link}}}, secondCopy{{{plain, otherLink}}};
    for (const auto& row : {
             Row{"the second copy never comes", {}, {}, original},
             Row{"both come", {}, secondCopy, original},
             Row{"another program writes in the place of the second", {}, foreign, foreign},
             Row{"another program writes between them", foreign, {}, foreign},
             Row{"the person copies a link between them", secondCopy, {}, secondCopy},
         }) {
        pasteboard.copiedElsewhere(original);
        Capture capture(pasteboard);
        capture.expectCopy();
        pasteboard.copiedElsewhere(firstCopy);
        EXPECT_EQ(capture.freshText(), link);
        if (row.between) {
            pasteboard.copiedElsewhere(*row.between);
            EXPECT_EQ(failureOf([&] { capture.expectCopy(); }), Case::changed) << row.what;
            EXPECT_EQ(failureOf([&] { capture.freshText(); }), Case::changed) << row.what;
        } else {
            capture.expectCopy();
            EXPECT_EQ(capture.freshText(), std::nullopt) << row.what;
        }
        if (row.second) {
            pasteboard.copiedElsewhere(*row.second);
            EXPECT_EQ(failureOf([&] { EXPECT_EQ(capture.freshText(), otherLink); }),
                      row.end == original ? std::nullopt : std::optional(Case::changed))
                << row.what;
        }
        EXPECT_EQ(capture.restoreIfOwned(), row.end == original) << row.what;
        EXPECT_TRUE(pasteboard.contents() == row.end) << row.what;
    }
}

// Directly before any look at the clipboard once the copy is there, up to its restoration.
TEST_F(ConversationClipboardCaptureTest, WhatAnotherProgramWritesMeanwhileStays) {
    std::string_view lastBefore;
    std::uint64_t number = 1;
    for (; lastBefore != "clearContents"; ++number) {
        ASSERT_LT(number, 100U);
        steps.observer = nullptr;
        pasteboard.copiedElsewhere(original);
        Capture capture(pasteboard);
        capture.expectCopy();
        pasteboard.copiedElsewhere(link);
        bool isWritten = false;
        const auto written = steps.taken() + number;
        steps.observer = [&](const SimulatedStep& step) {
            if (step.number != written) return;
            lastBefore = step.operation;
            if (lastBefore == "clearContents") return; // No program can look and write at once.
            isWritten = true;
            pasteboard.copiedElsewhere(foreign);
        };
        failureOf([&] { capture.freshText(); });
        const bool isRestored = capture.restoreIfOwned();
        EXPECT_EQ(isRestored, !isWritten) << number;
        EXPECT_TRUE(pasteboard.contents() == (isWritten ? foreign : original)) << number << lastBefore;
    }
    EXPECT_GT(number, 8U) << "there were looks to be disturbed";
}

TEST_F(ConversationClipboardCaptureTest, ACopyThatCameUnseenIsTakenAwayToo) {
    Capture capture(pasteboard);
    capture.expectCopy();
    EXPECT_FALSE(capture.restoreIfOwned());
    EXPECT_FALSE(capture.isSettled()) << "it may still come";
    pasteboard.copiedElsewhere(link);
    EXPECT_TRUE(capture.restoreIfOwned());
    EXPECT_TRUE(pasteboard.contents() == original);
    pasteboard.copiedElsewhere(otherLink);
    EXPECT_FALSE(capture.restoreIfOwned()) << "one more than was asked for";
    EXPECT_EQ(pasteboard.text, otherLink);
}

TEST_F(ConversationClipboardCaptureTest, WhatSomebodyCopiedBeforeALateCopyComesBack) {
    for (const auto& between : {foreign, Items(), manyItems(33)}) {
        pasteboard.copiedElsewhere(original);
        Capture capture(pasteboard);
        capture.expectCopy();
        pasteboard.copiedElsewhere(between);
        EXPECT_FALSE(capture.restoreIfOwned());
        EXPECT_TRUE(pasteboard.contents() == between);
        pasteboard.copiedElsewhere(link);
        EXPECT_TRUE(capture.restoreIfOwned());
        EXPECT_TRUE(pasteboard.contents() == (between == foreign ? foreign : original))
            << "nothing, or what can't be kept, is the beginning of a copy, or gone";
    }
}

TEST_F(ConversationClipboardCaptureTest, WhoeverEndsItNothingClaimedStays) {
    std::optional<Capture> capture(std::in_place, pasteboard);
    capture->expectCopy();
    pasteboard.copiedElsewhere(link);
    capture->freshText();
    capture.reset();
    EXPECT_TRUE(pasteboard.contents() == original);
    capture.emplace(pasteboard);
    capture->expectCopy();
    pasteboard.copiedElsewhere(otherLink);
    capture.reset();
    EXPECT_EQ(pasteboard.text, otherLink) << "it may be long ago that a copy was asked for";
}

TEST_F(ConversationClipboardCaptureTest, NoCallThatFailsOnceLosesWhatTheClipboardHeld) {
    for (const auto& items : {original, Items()}) {
        std::uint64_t number = 1;
        for (bool isReached = true; isReached; ++number) {
            steps.observer = nullptr;
            pasteboard.copiedElsewhere(items);
            isReached = false;
            steps.observer = [&, failing = steps.taken() + number](SimulatedStep& step) {
                if (step.number == failing && step.operation != "changeCount")
                    step.report = AXStatus::failure;
                isReached |= step.number == failing;
            };
            const auto failure = failureOf([&] {
                Capture capture(pasteboard);
                capture.expectCopy();
                pasteboard.copiedElsewhere(link);
                failureOf([&] { capture.freshText(); });
                EXPECT_TRUE(capture.restoreIfOwned() || capture.restoreIfOwned()) << number;
                EXPECT_TRUE(capture.isSettled()) << number;
            });
            EXPECT_TRUE(!failure || failure == Case::snapshotFailed) << number;
            EXPECT_TRUE(pasteboard.contents() == items) << number;
        }
        EXPECT_GT(number, 15U);
    }
}

TEST_F(ConversationClipboardCaptureTest, WhatIsWrittenAroundARefusedRestorationStays) {
    for (const bool isDuring : {true, false}) {
        pasteboard.copiedElsewhere(original);
        Capture capture(pasteboard);
        capture.expectCopy();
        pasteboard.copiedElsewhere(link);
        steps.observer = [&](SimulatedStep& step) {
            if (step.operation != "writeItems") return;
            step.report = AXStatus::failure;
            if (isDuring) pasteboard.copiedElsewhere(foreign);
        };
        EXPECT_FALSE(capture.restoreIfOwned());
        EXPECT_FALSE(capture.isSettled());
        steps.observer = nullptr;
        if (!isDuring) pasteboard.copiedElsewhere(foreign);
        EXPECT_FALSE(capture.restoreIfOwned());
        EXPECT_TRUE(pasteboard.contents() == foreign) << isDuring;
    }
}

// The copy of a capture that has been given up stands there, comes now, or comes later; the next one may
// begin at any moment, and neither of them takes the copy for what the person had.
TEST_F(ConversationClipboardCaptureTest, ACaptureTakesOverFromTheOneBefore) {
    enum class Arrival { seen, unseen, during, after };
    for (const auto arrival : {Arrival::seen, Arrival::unseen, Arrival::during, Arrival::after}) {
        for (std::uint64_t number = 1; number <= (arrival == Arrival::during ? 20U : 1U); ++number) {
            steps.observer = nullptr;
            pasteboard.copiedElsewhere(original);
            Capture earlier(pasteboard);
            earlier.expectCopy();
            if (arrival == Arrival::seen || arrival == Arrival::unseen) pasteboard.copiedElsewhere(link);
            if (arrival == Arrival::seen) earlier.freshText();
            if (arrival == Arrival::during) before(number, [this] { pasteboard.copiedElsewhere(link); });
            std::optional<Capture> later;
            const auto failure = failureOf([&] { later.emplace(pasteboard, &earlier); });
            steps.observer = nullptr;
            if (pasteboard.text != link) pasteboard.copiedElsewhere(link);
            if (later) {
                EXPECT_FALSE(earlier.restoreIfOwned()) << "it has handed over";
                EXPECT_EQ(pasteboard.text, link);
                if (arrival == Arrival::after) {
                    EXPECT_EQ(failureOf([&] { later->expectCopy(); }), Case::changed);
                }
            }
            EXPECT_TRUE(failure ? earlier.restoreIfOwned() : later->restoreIfOwned()) << number;
            EXPECT_TRUE(pasteboard.contents() == original) << number;
        }
    }
}

TEST_F(ConversationClipboardCaptureTest, ALaterCaptureGoesOnWithItsOwnCopies) {
    Capture earlier(pasteboard);
    earlier.expectCopy();
    pasteboard.copiedElsewhere(link);
    earlier.freshText();
    Capture later(pasteboard, &earlier);
    later.expectCopy();
    EXPECT_EQ(later.freshText(), std::nullopt) << "the earlier copy is none of its own";
    pasteboard.copiedElsewhere(otherLink);
    EXPECT_EQ(later.freshText(), otherLink);
    EXPECT_TRUE(later.restoreIfOwned());
    EXPECT_TRUE(pasteboard.contents() == original);

    pasteboard.copiedElsewhere(foreign);
    Capture last(pasteboard, &later);
    last.expectCopy();
    pasteboard.copiedElsewhere(link);
    EXPECT_TRUE(last.restoreIfOwned());
    EXPECT_TRUE(pasteboard.contents() == foreign) << "the person's newest, not what a capture had kept";
}

} // namespace
} // namespace orvel
