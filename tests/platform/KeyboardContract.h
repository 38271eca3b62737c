#pragma once
// What every platform's tap and posted keys promise. A platform's test makes a world and has the suite run on
// it: INSTANTIATE_TYPED_TEST_SUITE_P(Name, KeyboardContractTest, World). In a world an application is in
// front, which notes what reaches it: "7" as a key is pressed, "-7" as it is released. It has
//   static std::string whatIsMissing()   empty where it can be made
//   static constexpr bool swallowsAnything   and not only Return and Enter
//   KeyboardTap& tap(), EventPosting& posting()
//   ProcessID inFront(), behind()
//   void press(code), release(code), repeat(code)
//   void whileBusy(happens, time)        in the middle of a turn of the loop that takes so long
//   void spend(time), settle()
//   std::string& arrived()

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/desktop/KeyboardTap.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace orvel {

/// Keys that the suite presses, besides Return and Enter.
namespace KeyPlace {
inline constexpr std::int64_t keyA = 0, keyX = 7, leftShift = 56;
} // namespace KeyPlace

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
    static TapAnswer swallowReturns(const TapEvent& event) {
        return KeyCode::isReturn(event.keyCode) ? TapAnswer::swallow : TapAnswer::pass;
    }

    std::unique_ptr<World> world;
    std::string told;
    std::vector<TapEventType> reasons;
    std::function<TapAnswer(const TapEvent&)> answer = [](const TapEvent&) { return TapAnswer::pass; };
    std::function<void()> whenAsked;
};

TYPED_TEST_SUITE_P(KeyboardContractTest);

TYPED_TEST_P(KeyboardContractTest, onlyASwallowedReturnIsHeldBackAndAllElseKeepsItsOrder) {
    EXPECT_TRUE(this->tap().isAvailable());
    EXPECT_TRUE(this->tap().isListeningGranted());
    ASSERT_EQ(this->start(), TapStart::started);
    EXPECT_TRUE(this->tap().isEnabled());
    for (const auto code : {KeyCode::returnKey, KeyCode::keypadEnter}) {
        const auto name = std::to_string(code);
        for (const bool isSwallowed : {false, true}) {
            if (isSwallowed) this->answer = this->swallowReturns;
            this->stroke(KeyPlace::keyA);
            this->stroke(code);
            this->stroke(KeyPlace::keyX);
            this->expect(isSwallowed ? "0 -0 7 -7 " : "0 -0 " + name + " -" + name + " 7 -7 ",
                         "0 -0 " + name + " -" + name + " 7 -7 ");
            this->answer = [](const TapEvent&) { return TapAnswer::pass; };
        }
    }
    this->answer = [](const TapEvent&) { return TapAnswer::swallow; };
    this->stroke(KeyPlace::keyA);
    this->expect(TypeParam::swallowsAnything ? "" : "0 -0 ");
}

TYPED_TEST_P(KeyboardContractTest, modifiersAndRepeatsAreToldAsSuch) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->world->press(KeyPlace::leftShift);
    this->world->release(KeyPlace::leftShift);
    this->world->settle();
    EXPECT_EQ(this->told, "flags" + std::to_string(SyntheticKey::shift) + " flags0 ");
    this->told.clear();
    this->answer = this->swallowReturns;
    this->world->arrived().clear();
    this->world->press(KeyCode::returnKey);
    this->world->repeat(KeyCode::returnKey);
    this->world->release(KeyCode::returnKey);
    this->world->settle();
    EXPECT_TRUE(this->told.starts_with("36 36r ")) << this->told;
    EXPECT_TRUE(this->told.ends_with(" -36 ")) << this->told;
    this->expect("");
}

TYPED_TEST_P(KeyboardContractTest, aLateAnswerCountsForNothingAndDisablesTheTap) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->answer = this->swallowReturns;
    this->whenAsked = [this] { this->world->spend(std::chrono::milliseconds(1500)); };
    this->stroke(KeyCode::returnKey);
    this->expect("36 -36 ");
    EXPECT_EQ(this->reasons, std::vector{TapEventType::tapDisabledByTimeout});
    EXPECT_FALSE(this->tap().isEnabled());
    this->whenAsked = nullptr;
    this->stroke(KeyCode::returnKey);
    this->expect("36 -36 ", "");

    this->tap().stop();
    ASSERT_EQ(this->start(), TapStart::started);
    EXPECT_TRUE(this->tap().isEnabled());
    this->stroke(KeyCode::returnKey);
    this->expect("");
}

TYPED_TEST_P(KeyboardContractTest, nobodyIsAskedAboutAReturnThatWaitedTooLong) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->answer = this->swallowReturns;
    this->world->whileBusy([this] { this->stroke(KeyCode::returnKey); }, std::chrono::milliseconds(1500));
    EXPECT_FALSE(this->told.starts_with("36 ")) << this->told;
    EXPECT_EQ(this->tap().isEnabled(), this->reasons.empty());
    EXPECT_EQ(this->told.starts_with("36r "), this->tap().isEnabled()) << "it is told one way or the other";
    this->expect("36 -36 ");
}

TYPED_TEST_P(KeyboardContractTest, aStoppedTapHearsNothingAndHoldsNothing) {
    ASSERT_EQ(this->start(), TapStart::started);
    this->answer = this->swallowReturns;
    this->whenAsked = [this] { this->tap().stop(); };
    this->stroke(KeyPlace::keyA);
    this->world->settle();
    EXPECT_FALSE(this->tap().isEnabled());
    this->world->arrived().clear();
    this->told.clear();
    this->stroke(KeyCode::returnKey);
    this->expect("36 -36 ", "");
    this->tap().stop();
    EXPECT_TRUE(this->reasons.empty()) << "to stop it is no failure";
}

TYPED_TEST_P(KeyboardContractTest, postedKeysAreNotThePersonsAndReachNobodyElse) {
    auto& posting = this->world->posting();
    ASSERT_EQ(this->start(), TapStart::started);
    {
        const auto discarded = posting.key({KeyPlace::keyA}, this->world->inFront());
        EXPECT_TRUE(discarded);
        this->expect("", "");
    }
    const auto forProcess = posting.key({KeyPlace::keyX}, this->world->inFront());
    const auto forWhomever = posting.key({KeyPlace::keyA}, std::nullopt);
    const auto forAnother = posting.key({KeyPlace::keyX}, this->world->behind());
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
    this->stroke(KeyPlace::keyX);
    this->expect("7 -7 ", "7 -7 ");
}

REGISTER_TYPED_TEST_SUITE_P(KeyboardContractTest, onlyASwallowedReturnIsHeldBackAndAllElseKeepsItsOrder,
                            modifiersAndRepeatsAreToldAsSuch, aLateAnswerCountsForNothingAndDisablesTheTap,
                            nobodyIsAskedAboutAReturnThatWaitedTooLong,
                            aStoppedTapHearsNothingAndHoldsNothing,
                            postedKeysAreNotThePersonsAndReachNobodyElse);

} // namespace orvel
