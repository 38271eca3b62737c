// The tap and the posted events of macOS over stand-ins for the system.

#include "fake/FakeMac.h"
#include "platform/KeyboardContract.h"

#include "Orvel/platform/mac/MacEventPosting.h"
#include "Orvel/platform/mac/MacKeyboardTap.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

class MacWorld {
  public:
    static constexpr bool swallowsAnything = true;
    static std::string whatIsMissing() { return {}; }

    MacWorld() { mac.events.front = inFront(); }
    KeyboardTap& tap() { return port; }
    EventPosting& posting() { return posts; }
    static ProcessID inFront() { return 11; }
    static ProcessID behind() { return 12; }

    void press(std::int64_t code) { press(code, kCGEventKeyDown, false); }
    void release(std::int64_t code) { press(code, kCGEventKeyUp, false); }
    void repeat(std::int64_t code) { press(code, kCGEventKeyDown, true); }
    void whileBusy(const std::function<void()>& happens, std::chrono::milliseconds time) {
        happens();
        spend(time);
        settle();
    }
    void spend(std::chrono::milliseconds time) { mac.now += time; }
    void settle() {
        mac.events.settle();
        for (const auto& [facts, process] : mac.events.arrived)
            if (process == inFront() && (facts.type == kCGEventKeyDown || facts.type == kCGEventKeyUp))
                seen += (facts.type == kCGEventKeyUp ? "-" : "") + std::to_string(facts.keyCode) + " ";
        mac.events.arrived.clear();
    }
    std::string& arrived() { return seen; }

    macfake::FakeMac mac;
    MacKeyboardTap port;
    MacEventPosting posts;

  private:
    void press(std::int64_t code, CGEventType type, bool isRepeat) {
        const bool isShift = code == KeyPlace::leftShift;
        const CGEventFlags flags = isShift && type == kCGEventKeyDown ? SyntheticKey::shift : 0;
        mac.events.press({.type = isShift ? kCGEventFlagsChanged : type,
                          .flags = flags,
                          .keyCode = code,
                          .isRepeat = isRepeat ? 1 : 0});
    }

    std::string seen;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mac, KeyboardContractTest, MacWorld);

class MacKeyboardTest : public testing::Test {
  protected:
    TapStart start() {
        return world.port.start([this](const TapEvent& event) {
            told.push_back(event);
            return answer;
        });
    }
    void stroke(std::int64_t code) {
        world.press(code);
        world.release(code);
        world.settle();
    }

    MacWorld world;
    macfake::FakeMac& mac = world.mac;
    std::vector<TapEvent> told;
    TapAnswer answer = TapAnswer::swallow;
};

TEST_F(MacKeyboardTest, theTapIsAnActiveOneInFrontOfTheSessionAndHearsOfSixTypes) {
    ASSERT_EQ(start(), TapStart::started);
    ASSERT_EQ(mac.events.taps.size(), 1U);
    const auto& tap = *mac.events.taps[0];
    EXPECT_EQ(tap.location, 1U);
    EXPECT_EQ(tap.placement, 0U);
    EXPECT_EQ(tap.options, 0U);
    EXPECT_EQ(tap.events, 33'561'610U);
    EXPECT_TRUE(tap.isAttached);
    EXPECT_TRUE(tap.isEnabled);
}

TEST_F(MacKeyboardTest, anEventIsToldWithWhatItHolds) {
    ASSERT_EQ(start(), TapStart::started);
    const std::uint64_t flags = 0x9E0000; // All that have a meaning.
    for (const auto type : {1, 3, 10, 11, 12, 25})
        mac.events.press({.type = static_cast<CGEventType>(type),
                          .flags = flags | kCGEventFlagMaskAlphaShift,
                          .keyCode = 76,
                          .isRepeat = 1,
                          .sourceProcess = 4711,
                          .userData = -2});
    world.settle();
    std::vector<TapEvent> expected;
    for (const auto type : {1U, 3U, 10U, 11U, 12U, 25U}) {
        const bool hasKey = type >= 10 && type <= 12, isKey = type == 10 || type == 11;
        expected.push_back({static_cast<TapEventType>(type), hasKey ? 76 : 0, flags, isKey, 4711, -2});
    }
    EXPECT_EQ(told, expected);
}

TEST_F(MacKeyboardTest, whatTheSystemReportsBesidesIsPassedOn) {
    ASSERT_EQ(start(), TapStart::started);
    auto& tap = *mac.events.taps[0];
    const auto event = mac.events.make({.type = static_cast<CGEventType>(22)});
    EXPECT_EQ(macfake::FakeEvents::call(tap, static_cast<CGEventType>(22), event), event);
    EXPECT_EQ(macfake::FakeEvents::call(tap, kCGEventKeyDown, nullptr), nullptr);
    EXPECT_TRUE(told.empty());
    EXPECT_EQ(tap.callback(nullptr, kCGEventKeyDown, event, nullptr), event);
    CFRelease(event);
}

TEST_F(MacKeyboardTest, whyItWasDisabledIsToldAndAnotherStartMakesAnotherTap) {
    const struct {
        CGEventType reason;
        TapEventType told;
    } cases[]{{kCGEventTapDisabledByTimeout, TapEventType::tapDisabledByTimeout},
              {kCGEventTapDisabledByUserInput, TapEventType::tapDisabledByUserInput}};
    for (const auto& each : cases) {
        ASSERT_EQ(start(), TapStart::started);
        mac.events.disable(each.reason);
        world.settle();
        EXPECT_EQ(told, std::vector{TapEvent{.type = each.told}});
        EXPECT_FALSE(world.port.isEnabled());
        stroke(KeyCode::returnKey);
        EXPECT_EQ(std::exchange(world.arrived(), {}), "36 -36 ");
        world.port.stop();
        ASSERT_EQ(start(), TapStart::started);
        EXPECT_TRUE(world.port.isEnabled());
        told.clear();
        stroke(KeyCode::returnKey);
        EXPECT_EQ(world.arrived(), "");
        EXPECT_EQ(std::exchange(told, {}).size(), 2U);
        world.port.stop();
    }
}

// As when the main thread was busy for too long: the system has passed the key by then.
TEST_F(MacKeyboardTest, nobodyIsAskedAboutAReturnOfADisabledTap) {
    ASSERT_EQ(start(), TapStart::started);
    for (const auto code : {KeyCode::returnKey, KeyCode::keypadEnter}) {
        mac.events.taps[0]->isEnabled = true;
        world.press(code);
        world.spend(1'100ms);
        world.settle();
        EXPECT_EQ(told, std::vector{TapEvent{.type = TapEventType::tapDisabledByTimeout}});
        told.clear();
    }
}

TEST_F(MacKeyboardTest, whatCanNotBeMadeLeavesNothing) {
    mac.events.refusesSources = true;
    EXPECT_EQ(start(), TapStart::notAttached);
    ASSERT_EQ(mac.events.taps.size(), 1U);
    EXPECT_EQ(mac.events.taps[0]->references, 0) << "it was removed at once";
    EXPECT_FALSE(world.port.isEnabled());
    mac.events.refusesSources = false;
    mac.events.refusesTaps = true;
    EXPECT_EQ(start(), TapStart::refused);
    stroke(KeyCode::returnKey);
    EXPECT_EQ(world.arrived(), "36 -36 ");
    mac.events.refusesTaps = false;
    mac.isTrusted = false;
    EXPECT_EQ(start(), TapStart::refused);
    mac.isTrusted = true;
    EXPECT_EQ(start(), TapStart::started) << "a refusal is no obstacle to a later start";
}

// The stand-in complains of an end in another order, and of a tap that ends while it is at work.
TEST_F(MacKeyboardTest, aTapThatIsStoppedOrDestroyedIsTakenApart) {
    for (const bool isStopped : {true, false}) {
        MacKeyboardTap another;
        ASSERT_EQ(another.start([&](const TapEvent&) {
            if (isStopped) another.stop();
            return TapAnswer::pass;
        }),
                  TapStart::started);
        stroke(KeyPlace::keyA);
        EXPECT_EQ(another.isEnabled(), !isStopped);
    }
    for (const auto* tap : mac.events.taps) EXPECT_EQ(tap->references, 0);
    stroke(KeyPlace::keyA);
    EXPECT_EQ(world.arrived(), "0 -0 0 -0 0 -0 ");
}

TEST_F(MacKeyboardTest, thePermissionIsAskedForOnlyOnRequest) {
    for (const bool isGranted : {true, false}) {
        mac.isListeningGranted = isGranted;
        EXPECT_EQ(world.port.isListeningGranted(), isGranted);
    }
    ASSERT_EQ(start(), TapStart::started) << "which needs it not";
    EXPECT_EQ(mac.listeningRequests, 0);
    world.port.requestListening();
    EXPECT_EQ(mac.listeningRequests, 1);
}

// Posted events

using macfake::Arrived;

TEST_F(MacKeyboardTest, postedEventsHaveTheirOwnModifiersAndTheMarker) {
    mac.events.held = SyntheticKey::option;
    const auto forProcess = world.posts.key({37, SyntheticKey::command | SyntheticKey::shift}, 12);
    const auto forFront = world.posts.key({5}, std::nullopt);
    const auto click = world.posts.click({3.5, -4});
    ASSERT_TRUE(forProcess && forFront && click);
    answer = TapAnswer::pass;
    ASSERT_EQ(start(), TapStart::started);
    for (const auto* each : {&forProcess, &forFront, &click}) {
        (*each)->post();
        (*each)->post(); // Which counts for nothing.
    }
    mac.events.settle();
    const struct {
        CGEventType type;
        std::int64_t keyCode, clickState;
        CGEventFlags flags;
        pid_t process;
        double x, y;
    } expected[]{{kCGEventKeyDown, 37, 0, 0x120000, 12, 0, 0},  {kCGEventKeyUp, 37, 0, 0x120000, 12, 0, 0},
                 {kCGEventKeyDown, 5, 0, 0, 11, 0, 0},          {kCGEventKeyUp, 5, 0, 0, 11, 0, 0},
                 {kCGEventLeftMouseDown, 0, 1, 0, 11, 3.5, -4}, {kCGEventLeftMouseUp, 0, 1, 0, 11, 3.5, -4}};
    ASSERT_EQ(mac.events.arrived.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const auto& [facts, process] = mac.events.arrived[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(facts.type, expected[i].type);
        EXPECT_EQ(facts.keyCode, expected[i].keyCode);
        EXPECT_EQ(facts.clickState, expected[i].clickState);
        EXPECT_EQ(facts.flags, expected[i].flags);
        EXPECT_EQ(process, expected[i].process);
        EXPECT_EQ(facts.position.x, expected[i].x);
        EXPECT_EQ(facts.position.y, expected[i].y);
        EXPECT_EQ(facts.userData, 0x4F5256454C434F50);
    }
    EXPECT_EQ(told.size(), 5U) << "which the tap hears, without the release of the button";
    for (const auto& event : told) EXPECT_EQ(event.marker, EventPosting::marker);
}

TEST_F(MacKeyboardTest, whatTheSystemRefusesIsNotPreparedAndLeavesNothing) {
    for (int possible = 0; possible < 2; ++possible) {
        mac.events.eventsUntilRefusal = possible;
        EXPECT_EQ(world.posts.key({5}, 12), nullptr);
        mac.events.eventsUntilRefusal = possible;
        EXPECT_EQ(world.posts.click({}), nullptr);
    }
    mac.events.eventsUntilRefusal = -1;
    mac.events.refusesEventSources = true;
    EXPECT_EQ(world.posts.key({5}, std::nullopt), nullptr);
    EXPECT_EQ(world.posts.click({}), nullptr);
    EXPECT_TRUE(world.posts.key({5}, 12)) << "which needs no source";
}

} // namespace
} // namespace orvel
