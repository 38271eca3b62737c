// What every platform's tap and posted keys promise: the same tests on the simulated desktop, with the habits
// of macOS and of X, and on a real X server.

#include "Orvel/platform/linux/XEventPosting.h"
#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "platform/linux/XTestDesktop.h"

#include <thread>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t returnKey = 36, keypadEnter = 76, keyA = 0, keyX = 7, leftShift = 56;

// An application in front, which notes what reaches it: "7" as a key is pressed, "-7" as it is released.

class SimulatedWorld {
  public:
    static constexpr bool swallowsAnything = true;
    static std::string whatIsMissing() { return {}; }

    SimulatedWorld() {
        screen.applications.install(notes);
        front = screen.applications.start(notes);
        screen.applications.bringToFront(front);
    }
    KeyboardTap& tap() { return screen.keyboard; }
    EventPosting& posting() { return screen.keyboard; }
    ProcessID inFront() const { return front; }
    ProcessID behind() const { return SimulatedApplications::self; }

    void press(std::int64_t code) { press(code, TapEventType::keyDown, false); }
    void release(std::int64_t code) { press(code, TapEventType::keyUp, false); }
    void repeat(std::int64_t code) { press(code, TapEventType::keyDown, true); }
    /// In the middle of a turn that takes so long.
    void whileBusy(const std::function<void()>& happens, std::chrono::milliseconds time) {
        screen.loop.outside(1ms, happens);
        screen.loop.post([this, time] { screen.loop.spend(time); });
        settle();
    }
    void spend(std::chrono::milliseconds time) { screen.loop.spend(time); }
    void settle() { screen.loop.run(); }
    std::string& arrived() { return notes.seen; }

  protected:
    SimulatedDesktop screen;

  private:
    struct Notes : SimulatedApplication {
        Notes() : SimulatedApplication("org.example.notes", "1.0", "/Notes") {}
        void pressed(const SimulatedKey& key) override {
            if (key.event.type != TapEventType::flagsChanged)
                seen += (key.event.type == TapEventType::keyUp ? "-" : "") +
                        std::to_string(key.event.keyCode) + " ";
        }
        std::string seen;
    };

    void press(std::int64_t code, TapEventType type, bool isRepeat) {
        const auto isShift = code == leftShift;
        screen.keyboard.press("",
                              {.type = isShift ? TapEventType::flagsChanged : type,
                               .keyCode = code,
                               .flags = isShift && type == TapEventType::keyDown ? SyntheticKey::shift : 0,
                               .isRepeat = isRepeat});
    }

    Notes notes;
    ProcessID front = 0;
};

class SimulatedXWorld : public SimulatedWorld {
  public:
    static constexpr bool swallowsAnything = false;
    SimulatedXWorld() { screen.keyboard.beLikeX(); }
};

class XWorld : public XDesktopTest {
  public:
    static constexpr bool swallowsAnything = false;
    static std::string whatIsMissing() { return isInstalled("Xvfb") ? "" : "Xvfb is not installed."; }

    XWorld() {
        XDesktopTest::SetUp();
        other->claim(static_cast<std::uint32_t>(inFront()), "notes");
        other->connection->synchronise();
        held = std::make_unique<XKeyboardTap>(loop, own, server->display());
        posts = std::make_unique<XEventPosting>(*person, own);
    }
    void TestBody() override {}
    KeyboardTap& tap() { return *held; }
    EventPosting& posting() { return *posts; }
    ProcessID inFront() const { return 4711; }
    ProcessID behind() const { return 4712; }

    using XDesktopTest::press;
    using XDesktopTest::release;
    /// A server repeats by itself what is held down.
    void repeat(std::int64_t) {
        runUntil([] { return false; }, 900ms);
    }
    void whileBusy(const std::function<void()>& happens, std::chrono::milliseconds time) {
        happens();
        std::this_thread::sleep_for(time);
        settle();
    }
    void spend(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }
    void settle() {
        EXPECT_TRUE(XDesktopTest::settle());
        runUntil([] { return false; }, 20ms); // The reports are as far as the loop.
    }
    std::string& arrived() { return other->seen; }

  private:
    std::shared_ptr<XOwnInput> own = std::make_shared<XOwnInput>();
    std::unique_ptr<XKeyboardTap> held;
    std::unique_ptr<XEventPosting> posts;
};

template <typename World>
class KeyboardContractTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = World::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        world = std::make_unique<World>();
    }

    TapStart start() {
        return tap().start([this](const TapEvent& event) {
            const bool isKey = event.type == TapEventType::keyDown || event.type == TapEventType::keyUp;
            if (event.type >= TapEventType::tapDisabledByTimeout) reasons.push_back(event.type);
            if (event.marker == EventPosting::marker) return TapAnswer::pass;
            if (event.type == TapEventType::flagsChanged) told += "flags" + std::to_string(event.flags) + " ";
            if (!isKey || event.keyCode == 123) return TapAnswer::pass; // Of which a world makes use.
            told += (event.type == TapEventType::keyUp ? "-" : "") + std::to_string(event.keyCode) +
                    (event.isRepeat ? "r " : " ");
            if (event.type == TapEventType::keyDown && whenAsked) whenAsked();
            return answer(event);
        });
    }
    void stroke(std::int64_t code) {
        world->press(code);
        world->release(code);
    }
    /// What has arrived and was told since the last time.
    void expect(const std::string& arrived, const std::optional<std::string>& heard = std::nullopt) {
        world->settle();
        EXPECT_EQ(std::exchange(world->arrived(), {}), arrived);
        EXPECT_EQ(told, heard.value_or(told));
        told.clear();
    }
    KeyboardTap& tap() { return world->tap(); }

    std::unique_ptr<World> world;
    std::string told;
    std::vector<TapEventType> reasons;
    std::function<TapAnswer(const TapEvent&)> answer = [](const TapEvent&) { return TapAnswer::pass; };
    std::function<void()> whenAsked;
};

TapAnswer swallowReturns(const TapEvent& event) {
    return KeyCode::isReturn(event.keyCode) ? TapAnswer::swallow : TapAnswer::pass;
}

using Worlds = testing::Types<SimulatedWorld, SimulatedXWorld, XWorld>;
TYPED_TEST_SUITE(KeyboardContractTest, Worlds);

TYPED_TEST(KeyboardContractTest, onlyASwallowedReturnIsHeldBackAndAllElseKeepsItsOrder) {
    EXPECT_TRUE(this->tap().isAvailable());
    EXPECT_TRUE(this->tap().isListeningGranted());
    ASSERT_EQ(this->start(), TapStart::started);
    EXPECT_TRUE(this->tap().isEnabled());
    for (const auto code : {returnKey, keypadEnter}) {
        const auto name = std::to_string(code);
        for (const bool isSwallowed : {false, true}) {
            if (isSwallowed) this->answer = swallowReturns;
            this->stroke(keyA);
            this->stroke(code);
            this->stroke(keyX);
            this->expect(isSwallowed ? "0 -0 7 -7 " : "0 -0 " + name + " -" + name + " 7 -7 ",
                         "0 -0 " + name + " -" + name + " 7 -7 ");
            this->answer = [](const TapEvent&) { return TapAnswer::pass; };
        }
    }
    this->answer = [](const TapEvent&) { return TapAnswer::swallow; };
    this->stroke(keyA);
    this->expect(TypeParam::swallowsAnything ? "" : "0 -0 ");
}

TYPED_TEST(KeyboardContractTest, modifiersAndRepeatsAreToldAsSuch) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->world->press(leftShift);
    this->world->release(leftShift);
    this->world->settle();
    EXPECT_EQ(this->told, "flags" + std::to_string(SyntheticKey::shift) + " flags0 ");
    this->told.clear();
    this->answer = swallowReturns;
    this->world->arrived().clear();
    this->world->press(returnKey);
    this->world->repeat(returnKey);
    this->world->release(returnKey);
    this->world->settle();
    EXPECT_TRUE(this->told.starts_with("36 36r ")) << this->told;
    EXPECT_TRUE(this->told.ends_with(" -36 ")) << this->told;
    this->expect("");
}

TYPED_TEST(KeyboardContractTest, aLateAnswerCountsForNothingAndDisablesTheTap) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->answer = swallowReturns;
    this->whenAsked = [this] { this->world->spend(1500ms); };
    this->stroke(returnKey);
    this->expect("36 -36 ");
    EXPECT_EQ(this->reasons, std::vector{TapEventType::tapDisabledByTimeout});
    EXPECT_FALSE(this->tap().isEnabled());
    this->whenAsked = nullptr;
    this->stroke(returnKey);
    this->expect("36 -36 ", "");

    this->tap().stop();
    ASSERT_EQ(this->start(), TapStart::started);
    EXPECT_TRUE(this->tap().isEnabled());
    this->stroke(returnKey);
    this->expect("");
}

TYPED_TEST(KeyboardContractTest, nobodyIsAskedAboutAReturnThatWaitedTooLong) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->answer = swallowReturns;
    this->world->whileBusy([this] { this->stroke(returnKey); }, 1500ms);
    EXPECT_FALSE(this->told.starts_with("36 ")) << this->told;
    EXPECT_EQ(this->tap().isEnabled(), this->reasons.empty());
    EXPECT_EQ(this->told.starts_with("36r "), this->tap().isEnabled()) << "it is told one way or the other";
    this->expect("36 -36 ");
}

TYPED_TEST(KeyboardContractTest, aStoppedTapHearsNothingAndHoldsNothing) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->answer = swallowReturns;
    this->whenAsked = [this] { this->tap().stop(); };
    this->stroke(keyA);
    this->world->settle();
    EXPECT_FALSE(this->tap().isEnabled());
    this->world->arrived().clear();
    this->told.clear();
    this->stroke(returnKey);
    this->expect("36 -36 ", "");
    this->tap().stop();
    EXPECT_TRUE(this->reasons.empty()) << "to stop it is no failure";
}

TYPED_TEST(KeyboardContractTest, postedKeysAreNotThePersonsAndReachNobodyElse) {
    auto& posting = this->world->posting();
    ASSERT_EQ(this->start(), TapStart::started);
    {
        const auto discarded = posting.key({keyA}, this->world->inFront());
        EXPECT_TRUE(discarded);
        this->expect("", "");
    }
    const auto forProcess = posting.key({keyX}, this->world->inFront());
    const auto forWhomever = posting.key({keyA}, std::nullopt);
    const auto forAnother = posting.key({keyX}, this->world->behind());
    ASSERT_TRUE(forProcess && forWhomever && forAnother && posting.click({5, 5}));
    forProcess->post();
    this->expect("7 -7 ", "");
    forWhomever->post();
    this->expect("0 -0 ", "");
    forAnother->post();
    this->expect("", "");
    forProcess->post();
    forWhomever->post();
    this->expect("", "");
    this->stroke(keyX);
    this->expect("7 -7 ", "7 -7 ");
}

} // namespace
} // namespace orvel
