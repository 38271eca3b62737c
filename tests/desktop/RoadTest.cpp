// A command that is typed in an agent's page, on its whole road: held, removed, relayed, and received.

#include "desktop/OrvelDesk.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;

class RoadTest : public OrvelDeskTest {
  protected:
    /// Types the command and Return, and sees that it goes to the other conversation.
    static void relay(OrvelDesk& desk, const std::string& agent) {
        const auto sent = desk.session.sent(agent).size();
        const auto returns = desk.tap.returns.size(), transfers = desk.transfers();
        desk.face(agent == "claude" ? desk.session.claude() : desk.session.codex());
        desk.session.person().type("/orvel Look");
        ASSERT_TRUE(desk.shows(agent, "/orvel Look"));
        desk.runFor(200ms);
        const auto pressed = unixMilliseconds();
        desk.session.person().type("\n");
        ASSERT_TRUE(desk.isReceived(transfers + 1));
        const auto received = unixMilliseconds();

        ASSERT_EQ(desk.tap.returns.size(), returns + 1);
        const auto& swallowed = desk.tap.returns.back();
        EXPECT_EQ(swallowed.answer, TapAnswer::swallow);
        EXPECT_EQ(desk.session.sent(agent).size(), sent) << "the command itself was sent";
        EXPECT_TRUE(desk.shows(agent, ""));
        std::printf("from %s: held %.1f ms behind the key (handler %.1f ms), received %.0f ms behind it\n",
                    agent.c_str(), swallowed.at - pressed, swallowed.took, received - pressed);
        desk.awaitReplies();
    }
};

TEST_F(RoadTest, aCommandGoesFromEachPageToTheOther) {
    OrvelDesk desk;
    desk.prove();
    const auto codexBefore = desk.inCodex().size(), claudeBefore = desk.inClaude().size();

    relay(desk, "claude");
    ASSERT_EQ(desk.inCodex().size(), codexBefore + 1);
    EXPECT_THAT(desk.inCodex().back(), HasSubstr("Look"));

    relay(desk, "codex");
    ASSERT_EQ(desk.inClaude().size(), claudeBefore + 1);
    EXPECT_THAT(desk.inClaude().back(), HasSubstr("Look"));
    EXPECT_EQ(desk.session.sent("claude"), std::vector{desk.inClaude().back()});
}

} // namespace
} // namespace orvel
