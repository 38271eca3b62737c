// What is decided without a page, and the traces: which lines they keep, and that each is written as told.

#include "OrvelCore/consultation/ChatGPTDeliveryTrace.h"
#include "Failures.h"
#include "OrvelCore/consultation/ChatGPTAddress.h"
#include "OrvelCore/consultation/ChatGPTDeliverySnapshot.h"

#include <limits>

namespace orvel {
namespace {

using Trace = ChatGPTDeliveryTrace;

constexpr const char* id = "aaaaaaaa-aaaa-4aaa-8aaa-aaaaaaaaaaaa";

struct ChatGPTDeliveryTraceTest : testing::Test {
    std::string lines() const {
        const auto report = trace.report().text();
        const auto first = report.find('\n');
        return first == report.npos ? "" : report.substr(first + 1);
    }

    std::chrono::nanoseconds now = std::chrono::seconds(5);
    Trace trace{Trace::Kind::send, id, 0, [this] { return now; }};
};

TEST_F(ChatGPTDeliveryTraceTest, WritesEachLineAsItIsTold) {
    now += std::chrono::microseconds(7'900);
    trace.enter(Trace::Phase::initialPage);
    trace.initialRead(2);
    trace.applicationRole(0, std::nullopt);
    trace.page({.caller = Trace::Caller::receipt,
                .windows = 2,
                .focusStatus = -25204,
                .sameWindow = true,
                .webAreas = 1,
                .truncated = true});
    trace.page({.urlStatus = 0, .urlKind = ChatGPTURLKind::otherChatGPT, .sameWeb = false});
    trace.axFailure(Trace::Attribute::other, std::nullopt, false);
    trace.enter(Trace::Phase::preSend);
    trace.questionWrite(-25200);
    trace.questionRead(3, Trace::QuestionReadKind::different, 12);
    trace.questionFailure(Trace::QuestionFailure::notReflected);
    trace.controlAction(Trace::ControlAction::pointerClick);
    trace.pointerHit({.isSameProcess = true, .isBelowTarget = true, .isInWeb = true, .role = "AXStaticText"});
    trace.pointerHit({.isSameProcess = true, .isAboveTarget = true, .role = "A secret"});
    trace.receiptStage(Trace::ReceiptReadStage::page);
    trace.receiptStage(Trace::ReceiptReadStage::page);
    trace.receiptStage(Trace::ReceiptReadStage::finalIdentity);
    trace.receiptStage(Trace::ReceiptReadStage::page);
    trace.receiptEvidence({.sameChat = true, .questionOutside = true, .composerEmpty = false});
    trace.receiptEvidence({.sameChat = true, .questionOutside = true, .archiveOutside = true});
    trace.receiptStopped();
    trace.sendPressed();
    trace.finish(Trace::Outcome::sendUnconfirmed);
    const std::string preSend = "elapsed_ms=7 phase=preSend ";
    EXPECT_EQ(
        trace.report().text(),
        "attempt=AAAAAAAA-AAAA-4AAA-8AAA-AAAAAAAAAAAA kind=send send_pressed=true "
        "phases=initialPage,preSend\n"
        "elapsed_ms=7 phase=initialPage\n"
        "elapsed_ms=7 phase=initialPage initial_read_attempt=2\n"
        "elapsed_ms=7 application_role_status=0 is_AXApplication=unknown\n"
        "elapsed_ms=7 caller=receipt phase=initialPage windows=2 windows_status=0 focus_status=-25204 "
        "same_window=true web_areas=1 url_status=not_read url_kind=notRead same_web=unknown truncated=true\n"
        "elapsed_ms=7 caller=selectedPage phase=initialPage windows=0 windows_status=0 focus_status=0 "
        "same_window=unknown web_areas=0 url_status=0 url_kind=otherChatGPT same_web=false truncated=false\n"
        "elapsed_ms=7 phase=initialPage ax_attribute=other status=unknown truncated=false\n"
        "elapsed_ms=7 phase=preSend\n" +
            preSend + "question_write_status=-25200\n" + preSend +
            "question_read_attempt=3 value_kind=different utf16_length=12\n" + preSend +
            "question_failure=notReflected\n" + preSend + "control_action=pointerClick\n" + preSend +
            "hit_same_process=true hit_same_target=false hit_child=true hit_ancestor=false hit_in_web=true "
            "hit_role=AXStaticText hit_decision=exact\n" +
            preSend +
            "hit_same_process=true hit_same_target=false hit_child=false hit_ancestor=true hit_in_web=false "
            "hit_role=other hit_decision=rejected\n" +
            preSend + "receipt_read_stage=page\n" + preSend + "receipt_read_stage=finalIdentity\n" + preSend +
            "receipt_read_stage=page\n" + preSend +
            "receipt_same_chat=true question_outside=true archive_outside=false composer_empty=false "
            "attachments_consumed=unknown receipt_confirmed=false\n" +
            preSend +
            "receipt_same_chat=true question_outside=true archive_outside=true composer_empty=unknown "
            "attachments_consumed=unknown receipt_confirmed=true\n" +
            preSend + "receipt_read_stopped=true\n" + "elapsed_ms=7 outcome=sendUnconfirmed phase=preSend");
}

TEST_F(ChatGPTDeliveryTraceTest, KeepsTheFirstLinesAndTheLatest) {
    std::string expected;
    for (int number = 1; number <= 82; ++number) {
        trace.append(DiagnosticText(number));
        const auto line = "elapsed_ms=0 " + std::to_string(number);
        if (number == 67) expected += "\nomitted_events=2";
        if (number < 65 || number > 66) expected += (expected.empty() ? "" : "\n") + line;
        EXPECT_EQ(lines().find("omitted") != std::string::npos, number > 80) << number;
    }
    EXPECT_EQ(lines(), expected);
    EXPECT_EQ(trace.count(), 82U);
}

TEST_F(ChatGPTDeliveryTraceTest, TheHistoryDropsTheOldest) {
    ChatGPTDeliveryTraceHistory history;
    std::vector<std::shared_ptr<const Trace>> added;
    for (int i = 0; i < 5; ++i) history.add(added.emplace_back(std::make_shared<const Trace>(trace)));
    EXPECT_TRUE(
        std::equal(history.finished().begin(), history.finished().end(), added.begin() + 1, added.end()));
}

TEST(ChatGPTAddress, TellsWhichPageIsShown) {
    using enum ChatGPTURLKind;
    const std::tuple<const char*, ChatGPTURLKind, bool> urls[] = {
        {"https://chatgpt.com/", root, true},
        {"HTTPS://ChatGPT.com:443/", root, true},
        {"https://chatgpt.com/?model=x", root, false},
        {"https://chatgpt.com/?", root, false},
        {"https://chatgpt.com/c/x", chat, true},
        {"https://chatgpt.com/c/x?model=y", chat, false},
        {"https://chatgpt.com", otherChatGPT, false},
        {"https://chatgpt.com/c", otherChatGPT, false},
        {"https://chatgpt.com/g/c/x", otherChatGPT, false},
        {"https://chatgpt.com//", otherChatGPT, false},
        {"http://chatgpt.com/", otherHost, false},
        {"https://chatgpt.com:8443/", otherHost, false},
        {"https://user@chatgpt.com/", otherHost, false},
        {"https://chatgpt.com.example.org/", otherHost, false},
        {"https://example.org/https://chatgpt.com/", otherHost, false},
        {"about:blank", otherHost, false},
        {"chatgpt.com/", invalid, false},
        {"https://chatgpt.com/ x", invalid, false},
        {"", invalid, false},
    };
    for (const auto& [url, kind, isPage] : urls) {
        const ChatGPTAddress address(url);
        EXPECT_EQ(address.kind, kind) << url;
        EXPECT_EQ(address.isEmptyPage(), isPage && kind == root) << url;
        EXPECT_EQ(address.isConversation(), isPage && kind == chat) << url;
        EXPECT_EQ(address.isOfChatGPT(), kind == root || kind == chat || kind == otherChatGPT) << url;
    }
}

TEST(ChatGPTPointerHit, OnlyTheControlItselfAndWhatIsInItIsExact) {
    using enum ChatGPTPointerHit::Decision;
    struct Case {
        ChatGPTPointerHit::Hit hit;
        ChatGPTPointerHit::Decision decision;
    };
    const Case cases[] = {
        {{true, true, false, false, true, "AXButton"}, exact},
        {{true, true, false, false, true, "AXGroup"}, rejected},
        {{true, false, true, false, true, "AXStaticText"}, exact},
        {{true, false, false, true, true, "AXGroup"}, pendingAncestor},
        {{true, false, false, true, true, "AXWebArea"}, pendingAncestor},
        {{true, false, false, true, true, "AXScrollArea"}, pendingAncestor},
        {{true, false, false, true, false, "AXGroup"}, rejected},
        {{true, false, false, true, true, "AXWindow"}, rejected},
        {{true, false, false, false, true, "AXGroup"}, rejected},
        {{true, false, false, false, true, "AXButton"}, rejected},
        {{false, true, false, false, true, "AXButton"}, rejected},
        {{false, false, true, false, true, "AXButton"}, rejected},
    };
    for (const auto& [hit, decision] : cases)
        EXPECT_EQ(ChatGPTPointerHit::decide(hit), decision) << hit.role << &hit - &cases[0].hit;
}

TEST(ChatGPTPointerHit, AClickGoesToTheCentreOfAControlWithinTheWindow) {
    using ChatGPTPointerHit::Frame;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const Frame window{-100, 50, 400, 300};
    using Point = ChatGPTPointerHit::Point;
    const std::pair<Frame, std::optional<Point>> cases[] = {
        {{-100, 50, 400, 300}, Point{100, 200}}, {{10, 60, 5, 4}, Point{12.5, 62}},
        {{-101, 60, 5, 4}, std::nullopt},        {{296, 60, 5, 4}, std::nullopt},
        {{10, 49, 5, 4}, std::nullopt},          {{10, 347, 5, 4}, std::nullopt},
        {{10, 60, 0, 4}, std::nullopt},          {{10, 60, 5, -4}, std::nullopt},
        {{10, infinity, 5, 4}, std::nullopt},    {{10, 60, infinity, 4}, std::nullopt},
        {{std::nan(""), 60, 5, 4}, std::nullopt}};
    for (const auto& [control, point] : cases)
        EXPECT_EQ(ChatGPTPointerHit::pointerPoint(control, window), point) << control.x << " " << control.y;
    EXPECT_FALSE(ChatGPTPointerHit::pointerPoint({10, 60, 5, 4}, {-infinity, 50, infinity, 300}));
}

TEST(ChatGPTDeliverySnapshot, NothingIsSentUnlessEverythingIsExact) {
    struct Case {
        const char* name;
        void (*change)(ChatGPTDeliverySnapshot&);
        bool isExact = false;
    };
    const Case cases[] = {
        {"as it should be", [](auto&) {}, true},
        {"another page", [](auto& s) { s.samePage = false; }},
        {"another text", [](auto& s) { s.composerText = "Why?"; }},
        {"no text", [](auto& s) { s.composerText.reset(); }},
        {"no file", [](auto& s) { s.attachmentNames->clear(); }},
        {"unknown files", [](auto& s) { s.attachmentNames.reset(); }},
        {"two files", [](auto& s) { s.attachmentNames->push_back("b.zip"); }},
        {"another file", [](auto& s) { s.attachmentNames = {{"b.zip"}}; }},
        {"Send is disabled", [](auto& s) { s.sendEnabled = false; }},
    };
    for (const auto& [name, change, isExact] : cases) {
        ChatGPTDeliverySnapshot snapshot{true, "Why? ", {{"a.zip"}}, true};
        change(snapshot);
        EXPECT_EQ(endOf([&] { snapshot.require("Why? ", "a.zip"); }) == "done", isExact) << name;
    }
    EXPECT_EQ(endOf([] { requireChatGPTQuestion(" \n\t"); }),
              "notSent: The question is empty. A ZIP cannot be sent on its own.");
}

} // namespace
} // namespace orvel
