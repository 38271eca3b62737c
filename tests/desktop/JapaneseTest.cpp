// A command whose note is composed with a real Japanese input method.

#include "desktop/OrvelDesk.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class JapaneseTest : public OrvelDeskTest {
  protected:
    void SetUp() override {
        OrvelDeskTest::SetUp();
        if (IsSkipped()) return;
        if (const auto missing = MozcSession::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        if (!MozcSession::servesPrograms()) GTEST_SKIP() << "Programs have no way to IBus here.";
        if (!OrdinaryUser::isOne()) GTEST_SKIP() << "Nobody's rights can't be taken on.";
    }

    OrdinaryUser user; // Until everything has ended.
};

TEST_F(JapaneseTest, theFirstReturnConfirmsAndTheSecondIsTheCommands) {
    OrvelDesk desk(3, TestSession::Typing::japanese);
    desk.session.japanese()->select("xkb:us::eng");
    desk.prove();
    const auto inCodex = desk.inCodex().size(), transfers = desk.transfers();
    auto& person = desk.session.person();
    desk.face(desk.session.claude());
    person.type("/orvel ");
    ASSERT_TRUE(desk.shows("claude", "/orvel "));
    desk.session.japanese()->select("mozc-jp");
    const auto isHiragana = [&] {
        const auto source = desk.desktop.inputSources->current();
        return source && source->mode == "com.apple.inputmethod.Japanese";
    };
    ASSERT_TRUE(desk.runUntil(isHiragana));

    person.type("naosu");
    ASSERT_TRUE(desk.shows("claude", "/orvel なおす"));
    desk.runFor(200ms);
    const auto returns = desk.tap.returns.size();
    person.type("\n");
    desk.runFor(1500ms);
    ASSERT_EQ(desk.tap.returns.size(), returns + 1);
    EXPECT_EQ(desk.tap.returns.back().answer, TapAnswer::pass);
    ASSERT_TRUE(desk.shows("claude", "/orvel なおす")) << "it was confirmed, and nothing else";
    EXPECT_EQ(desk.session.sent("claude").size(), 0U);
    EXPECT_EQ(desk.transfers(), transfers);

    person.type("\n");
    ASSERT_TRUE(desk.isReceived(transfers + 1));
    EXPECT_EQ(desk.tap.returns.size(), returns + 2);
    EXPECT_EQ(desk.tap.returns.back().answer, TapAnswer::swallow);
    EXPECT_TRUE(desk.shows("claude", ""));
    EXPECT_EQ(desk.session.sent("claude").size(), 0U);
    ASSERT_EQ(desk.inCodex().size(), inCodex + 1);
    EXPECT_THAT(desk.inCodex().back(), testing::HasSubstr("なおす"));
    desk.awaitReplies();
}

} // namespace
} // namespace orvel
