// The tap over a real X server: what reaches another application, in which order, and that no keyboard ever
// stands still.

#include "Orvel/platform/linux/XKeyboardTap.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "platform/linux/XTestDesktop.h"

#include <thread>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t returnKey = 36, keypadEnter = 76, keyX = 7, keyA = 0, leftControl = 55;

std::string brief(const TapEvent& event) {
    const auto sign = event.type == TapEventType::keyDown ? "" : "-";
    if (event.type == TapEventType::flagsChanged) return "flags " + std::to_string(event.flags);
    return sign + std::to_string(event.keyCode) + (event.isRepeat ? "r" : "");
}

class XKeyboardTapTest : public XDesktopTest {
  protected:
    void SetUp() override {
        XDesktopTest::SetUp();
        if (!other) return;
        tap = std::make_unique<XKeyboardTap>(loop, own, server->display());
        ASSERT_TRUE(tap->isAvailable());
        ASSERT_EQ(start(), TapStart::started);
    }
    TapStart start() {
        return tap->start([this](const TapEvent& event) {
            seen.push_back(event);
            const bool isReturn = event.keyCode == returnKey || event.keyCode == keypadEnter;
            return handler && isReturn && event.type == TapEventType::keyDown ? handler(event)
                                                                              : TapAnswer::pass;
        });
    }
    void answer(TapAnswer answer, std::chrono::milliseconds after = 0ms) {
        handler = [answer, after](const TapEvent&) {
            std::this_thread::sleep_for(after);
            return answer;
        };
    }
    /// What has happened until now has arrived and is told.
    bool settle() {
        if (!XDesktopTest::settle()) return false;
        return !tap->isEnabled() || runUntil([&] { return !seen.empty() && brief(seen.back()) == "-123"; });
    }
    /// Without the loop, which hangs: whether these keys arrive all the same.
    bool arrivesMeanwhile(const std::string& keys) {
        for (const auto end = loop.uptime() + 20s; loop.uptime() < end && other->seen != keys;) {
            std::this_thread::sleep_for(1ms);
            other->connection->dispatch();
        }
        return other->seen == keys;
    }
    std::string told() {
        std::string words;
        for (const auto& event : seen) words += brief(event) + " ";
        return words;
    }
    std::size_t repeats() {
        return static_cast<std::size_t>(
            std::count_if(seen.begin(), seen.end(), [](const auto& event) { return event.isRepeat; }));
    }

    std::shared_ptr<XOwnInput> own = std::make_shared<XOwnInput>();
    std::unique_ptr<XKeyboardTap> tap;
    std::function<TapAnswer(const TapEvent&)> handler; ///< For presses of Return.
    std::vector<TapEvent> seen;
};

TEST_F(XKeyboardTapTest, aPassedReturnArrivesAndASwallowedOneNeverDoes) {
    for (const auto code : {returnKey, keypadEnter}) {
        const auto name = std::to_string(code);
        for (const auto& [what, arrives] :
             {std::pair(TapAnswer::pass, "0 " + name + " -0 -" + name + " 7 -7 "),
              std::pair(TapAnswer::swallow, std::string("0 -0 7 -7 "))}) {
            for (const bool isSlow : {false, true}) {
                SCOPED_TRACE(name + (isSlow ? " slow" : ""));
                answer(what, isSlow ? 50ms : 0ms);
                other->seen.clear();
                seen.clear();
                press(keyA);
                press(code);
                if (!isSlow) {
                    EXPECT_TRUE(runUntil([&] { return told() == "0 " + name + " "; }));
                }
                release(keyA);
                release(code);
                stroke(keyX);
                EXPECT_TRUE(settle());
                EXPECT_EQ(other->seen, arrives);
                if (!isSlow) {
                    EXPECT_EQ(told(), "0 " + name + " -0 -" + name + " 7 -7 123 -123 ");
                }
            }
        }
    }
}

TEST_F(XKeyboardTapTest, whatIsTypedWhileASwallowedReturnIsHeldArrives) {
    answer(TapAnswer::swallow);
    press(keyA);
    press(returnKey);
    ASSERT_TRUE(runUntil([&] { return told() == "0 36 "; }));
    press(keyX);
    ASSERT_TRUE(runUntil([&] { return other->seen == "0 7 "; }));
    press(leftControl);
    release(keyA);
    stroke(1);
    release(leftControl);
    release(keyX);
    ASSERT_TRUE(runUntil([&] { return other->seen == "0 7 55 -0 1 -1 -55 -7 "; })) << other->seen;
    release(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "0 7 55 -0 1 -1 -55 -7 ");
    // Where it is released before the other key could be passed, its release arrives.
    answer(TapAnswer::swallow, 50ms);
    other->seen.clear();
    press(returnKey);
    stroke(keyX);
    release(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "7 -7 -36 ");
    // And no grab is left.
    other->seen.clear();
    stroke(keyA);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "0 -0 ");
}

TEST_F(XKeyboardTapTest, whatIsTypedBehindASlowHandlerArrivesInOrder) {
    int asked = 0;
    handler = [&](const TapEvent&) {
        std::this_thread::sleep_for(120ms);
        return ++asked == 2 ? TapAnswer::swallow : TapAnswer::pass;
    };
    for (int round = 0; round < 3; ++round) {
        stroke(keyA);
        stroke(returnKey);
        for (const std::int64_t code : {1, 2, 3, 5, 4}) stroke(code);
    }
    EXPECT_TRUE(settle());
    const std::string letters = "1 -1 2 -2 3 -3 5 -5 4 -4 ";
    EXPECT_EQ(other->seen, "0 -0 36 -36 " + letters + "0 -0 " + letters + "0 -0 36 -36 " + letters);
    std::string returns;
    for (const auto& event : seen)
        if (event.keyCode == returnKey) returns += brief(event) + " ";
    EXPECT_EQ(returns, "36 -36 36 -36 36 -36 ");
    EXPECT_TRUE(tap->isEnabled());
}

TEST_F(XKeyboardTapTest, repeatsAreMarkedAndDecidedOneByOne) {
    for (const auto what : {TapAnswer::pass, TapAnswer::swallow}) {
        answer(what, 20ms);
        other->seen.clear();
        seen.clear();
        press(returnKey);
        ASSERT_TRUE(runUntil([&] { return repeats() >= 3; }));
        release(returnKey);
        EXPECT_TRUE(settle());
        EXPECT_FALSE(seen.front().isRepeat);
        EXPECT_EQ(other->seen.starts_with("36 "), what == TapAnswer::pass);
        EXPECT_EQ(other->seen.ends_with("-36 "), what == TapAnswer::pass);
        EXPECT_EQ(other->seen.empty(), what == TapAnswer::swallow);
    }
}

TEST_F(XKeyboardTapTest, modifiersAndButtonsAreReported) {
    press(leftControl);
    stroke(returnKey);
    release(leftControl);
    EXPECT_TRUE(runUntil([&] { return seen.size() == 4; }));
    for (std::uint8_t button = 1; button <= 4; ++button) {
        xcb_test_fake_input(person->get(), XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, 0, 0, 0, 0);
        xcb_test_fake_input(person->get(), XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, 0, 0, 0, 0);
    }
    EXPECT_TRUE(settle());
    ASSERT_EQ(seen.size(), 9U);
    const auto press = std::find_if(
        seen.begin(), seen.end(), [](const TapEvent& event) { return event.type == TapEventType::keyDown; });
    EXPECT_EQ(press->flags, SyntheticKey::command);
    std::string types;
    for (const auto& event : seen) types += std::to_string(static_cast<int>(event.type)) + " ";
    EXPECT_EQ(types, "12 10 11 12 1 25 3 10 11 ");
    EXPECT_EQ(seen[0].keyCode, leftControl);
    EXPECT_EQ(seen[0].flags, SyntheticKey::command);
    EXPECT_EQ(seen[3].flags, 0U);
}

TEST_F(XKeyboardTapTest, aHandlerThatHangsHoldsNoKeyboard) {
    bool arrives = false;
    handler = [&](const TapEvent&) {
        stroke(keyX);
        arrives = arrivesMeanwhile("36 -36 7 -7 ");
        return TapAnswer::swallow;
    };
    stroke(returnKey);
    EXPECT_TRUE(
        runUntil([&] { return !seen.empty() && seen.back().type == TapEventType::tapDisabledByTimeout; }));
    EXPECT_TRUE(arrives);
    EXPECT_FALSE(tap->isEnabled());
    other->seen.clear();
    const auto before = seen.size();
    stroke(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "36 -36 ");
    EXPECT_EQ(seen.size(), before) << "a disabled tap reports nothing";

    tap->stop();
    ASSERT_EQ(start(), TapStart::started);
    answer(TapAnswer::swallow);
    other->seen.clear();
    stroke(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "");
}

TEST_F(XKeyboardTapTest, aBusyMainThreadLetsReturnsPassUnasked) {
    answer(TapAnswer::swallow);
    stroke(returnKey);
    stroke(returnKey);
    EXPECT_TRUE(arrivesMeanwhile("36 -36 36 -36 "));
    EXPECT_TRUE(settle());
    EXPECT_EQ(repeats(), 2U) << "reported, but not to be decided on";
    EXPECT_TRUE(tap->isEnabled());
    other->seen.clear();
    stroke(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "");
}

TEST_F(XKeyboardTapTest, itsHandlerMayStopIt) {
    handler = [&](const TapEvent&) {
        tap->stop();
        return TapAnswer::swallow;
    };
    stroke(returnKey);
    stroke(returnKey);
    EXPECT_TRUE(settle());
    EXPECT_EQ(seen.size(), 1U);
    EXPECT_EQ(other->seen.find("36 -36 36 "), std::string::npos) << other->seen;
    EXPECT_FALSE(tap->isEnabled());
    tap->stop();
    EXPECT_EQ(start(), TapStart::started);
}

TEST_F(XKeyboardTapTest, whatAnotherProgramGrabsIsReportedOnly) {
    answer(TapAnswer::swallow);
    const auto grab = other->connection->reply<xcb_grab_keyboard_reply_t>(xcb_grab_keyboard(
        other->get(), 0, other->window, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    stroke(returnKey);
    EXPECT_TRUE(runUntil([&] { return told() == "36r -36 "; }));
    EXPECT_TRUE(settle());
    EXPECT_EQ(other->seen, "36 -36 ");
}

TEST_F(XKeyboardTapTest, noServerNoTap) {
    server->end();
    EXPECT_TRUE(runUntil([&] { return !tap->isEnabled(); }));
    tap->stop();
    EXPECT_EQ(start(), TapStart::refused);
    EXPECT_FALSE(XKeyboardTap(loop, own, server->display()).isAvailable());
}

TEST_F(XKeyboardTapTest, whereAnotherTapIsItIsRefused) {
    XKeyboardTap second(loop, own, server->display());
    EXPECT_EQ(second.start([](const TapEvent&) { return TapAnswer::pass; }), TapStart::refused);
    tap->stop();
    EXPECT_EQ(second.start([](const TapEvent&) { return TapAnswer::pass; }), TapStart::started);
}

} // namespace
} // namespace orvel
