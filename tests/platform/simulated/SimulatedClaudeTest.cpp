// Where the simulated Claude is strict and a lax one would go unnoticed by the deliveries that are tried on
// it.

#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto one = "local_11111111-1111-4111-8111-111111111111";
constexpr auto two = "local_22222222-2222-4222-8222-222222222222";

class SimulatedClaudeTest : public testing::Test {
  protected:
    SimulatedClaudeTest() {
        claude.addConversation("5b0d714f-0000-4000-8000-000000000002", one, {"q", "a"});
        claude.addConversation("5b0d714f-0000-4000-8000-000000000003", two, {"p", "b"});
        claude.show(one);
        claude.habits.settling = 80ms;
        claude.habits.hasShellPage = true;
        process = desktop.applications.start(claude);
        desktop.applications.bringToFront(process);
    }

    void pass(std::chrono::nanoseconds time) { desktop.loop.runFor(time); }

    AXStatus writeEditor(const std::string& text) {
        return access.setAttribute(claude.editorElement()->handle(), "AXValue", text);
    }
    AXStatus press(const SimulatedElement::Shared& element) {
        return access.performAction(element->handle(), "AXPress");
    }
    std::string shownText() { return claude.editorElement()->text("AXValue"); }
    bool isSendEnabled() {
        return claude.sendElement() && *claude.sendElement()->find("AXEnabled") == AXValue(true);
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedAccessibility& access = desktop.accessibility;
    SimulatedClaude claude{desktop, folder.path("home/.claude/projects"), folder.path("records")};
    ProcessID process = 0;
};

TEST_F(SimulatedClaudeTest, sendComesWithTextAndActsOnlyWhenItIsEnabledLater) {
    EXPECT_EQ(claude.sendElement(), nullptr);
    EXPECT_EQ(writeEditor("hello"), AXStatus::success);
    EXPECT_EQ(shownText(), "") << "the tree is late";
    pass(20ms);
    EXPECT_EQ(shownText(), "hello");
    pass(40ms);
    ASSERT_NE(claude.sendElement(), nullptr);
    EXPECT_FALSE(isSendEnabled());
    EXPECT_EQ(press(claude.sendElement()), AXStatus::success) << "a press proves nothing";
    EXPECT_EQ(claude.deeds().back().kind, SimulatedClaude::Deed::Kind::pressedSend) << "and sends nothing";
    pass(100ms);
    EXPECT_TRUE(isSendEnabled());
    EXPECT_EQ(press(claude.sendElement()), AXStatus::success);
    pass(100ms);
    EXPECT_EQ(shownText(), "");
    EXPECT_EQ(claude.sendElement(), nullptr);
    EXPECT_TRUE(claude.conversation(one)->isReplying);
}

TEST_F(SimulatedClaudeTest, openCompositionIsLostByLeaving) {
    for (const bool reports : {true, false}) {
        claude.habits.reportsMarkedText = reports;
        claude.userComposes("かな");
        pass(100ms);
        EXPECT_EQ(shownText(), "かな");
        const auto marked =
            access.attribute(claude.editorElement()->handle(), "AXTextInputMarkedTextMarkerRange");
        EXPECT_EQ(marked.status, reports ? AXStatus::success : AXStatus::noValue);
        claude.userNavigates(claude.shown() == one ? two : one);
        pass(1s);
        ASSERT_FALSE(claude.deeds().empty());
        EXPECT_EQ(claude.deeds().back().kind, SimulatedClaude::Deed::Kind::lostComposition);
    }
}

} // namespace
} // namespace orvel
