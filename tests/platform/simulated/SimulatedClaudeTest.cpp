// The simulated Claude behaves as its shapes say: editors keep drafts, Send comes with text, and what was
// sent reaches the transcript.

#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "TemporaryFolder.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto session = "5b0d714f-0000-4000-8000-000000000002";
constexpr auto one = "local_11111111-1111-4111-8111-111111111111";
constexpr auto two = "local_22222222-2222-4222-8222-222222222222";

class SimulatedClaudeTest : public testing::Test {
  protected:
    SimulatedClaudeTest() {
        claude.addConversation(session, one, {"q", "a"});
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
    Conversation onDisk(const std::string& id) {
        return TranscriptReader::read(claude.conversation(id)->transcriptPath, Agent::claude);
    }
    /// All elements of the window with this role and, in any label or as value, this text.
    int count(std::string_view role, std::string_view text) {
        int found = 0;
        std::vector<SimulatedElement::Shared> queue{claude.windowElement()};
        for (std::size_t i = 0; i < queue.size(); ++i) {
            const auto element = queue[i];
            for (const auto* name : {"AXTitle", "AXDescription", "AXHelp", "AXValue"})
                if (element->text("AXRole") == role && element->text(name) == text) ++found;
            queue.insert(queue.end(), element->below().begin(), element->below().end());
        }
        return found;
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedAccessibility& access = desktop.accessibility;
    SimulatedClaude claude{desktop, folder.path("home/.claude/projects"), folder.path("records")};
    ProcessID process = 0;
};

TEST_F(SimulatedClaudeTest, sendComesWithTextAndIsEnabledLater) {
    EXPECT_EQ(claude.sendElement(), nullptr);
    EXPECT_EQ(writeEditor("hello"), AXStatus::success);
    EXPECT_EQ(shownText(), "") << "the tree is late";
    pass(20ms);
    EXPECT_EQ(shownText(), "hello");
    pass(40ms);
    ASSERT_NE(claude.sendElement(), nullptr);
    EXPECT_FALSE(isSendEnabled());
    EXPECT_EQ(press(claude.sendElement()), AXStatus::success) << "a press proves nothing";
    pass(100ms);
    EXPECT_TRUE(isSendEnabled());
    EXPECT_EQ(writeEditor("  "), AXStatus::success);
    pass(1s);
    EXPECT_EQ(claude.sendElement(), nullptr);
}

TEST_F(SimulatedClaudeTest, whatIsSentIsAnsweredAndStandsInTheTranscript) {
    writeEditor("hello");
    pass(1s);
    EXPECT_EQ(press(claude.sendElement()), AXStatus::success);
    pass(100ms);
    EXPECT_EQ(shownText(), "");
    EXPECT_EQ(count("AXButton", "Stop"), 1);
    EXPECT_EQ(count("AXStaticText", "Claude is responding"), 1);
    EXPECT_EQ(onDisk(one).messages.size(), 2u);
    pass(200ms);
    EXPECT_EQ(onDisk(one).messages.back().text, "hello");
    EXPECT_TRUE(onDisk(one).isBusy);
    pass(4s);
    EXPECT_EQ(onDisk(one).messages.size(), 4u);
    EXPECT_FALSE(onDisk(one).isBusy);
    EXPECT_EQ(count("AXButton", "Stop") + count("AXStaticText", "Claude is responding"), 0);
    EXPECT_EQ(claude.conversation(one)->received, (std::vector<std::string>{"q", "hello"}));

    using Kind = SimulatedClaude::Deed::Kind;
    std::vector<Kind> kinds;
    for (const auto& deed : claude.deeds()) kinds.push_back(deed.kind);
    EXPECT_EQ(kinds, (std::vector{Kind::written, Kind::pressedSend, Kind::sent}));
}

TEST_F(SimulatedClaudeTest, draftsStayWithTheirConversations) {
    desktop.keyboard.press("mine");
    pass(1s);
    const auto editor = claude.editorElement();
    const auto page = claude.pageElement();
    desktop.applications.openURL(std::string("claude://claude.ai/epitaxy/") + two);
    pass(110ms);
    EXPECT_EQ(claude.pageElement(), nullptr) << "between two pages there is none";
    pass(120ms);
    ASSERT_NE(claude.pageElement(), nullptr);
    EXPECT_EQ(claude.editorElement(), nullptr) << "the page comes before its composer";
    pass(1s);
    EXPECT_EQ(claude.shown(), two);
    EXPECT_EQ(shownText(), "");
    EXPECT_TRUE(editor->isRemoved());
    EXPECT_TRUE(page->isRemoved());
    claude.userNavigates(one);
    pass(1s);
    EXPECT_EQ(shownText(), "mine");
    EXPECT_TRUE(isSendEnabled());
}

TEST_F(SimulatedClaudeTest, openCompositionIsLostByLeaving) {
    struct Row {
        const char* name;
        bool reports;
    };
    for (const auto& [name, reports] : {Row{"reported", true}, Row{"unseen", false}}) {
        SCOPED_TRACE(name);
        claude.habits.reportsMarkedText = reports;
        claude.userComposes("かな");
        pass(100ms);
        EXPECT_EQ(shownText(), "かな");
        const auto marked =
            access.attribute(claude.editorElement()->handle(), "AXTextInputMarkedTextMarkerRange");
        EXPECT_EQ(marked.status, reports ? AXStatus::success : AXStatus::noValue);
        claude.userNavigates(claude.shown() == one ? two : one);
        pass(1s);
        EXPECT_EQ(claude.deeds().back().kind, SimulatedClaude::Deed::Kind::lostComposition);
    }
}

TEST_F(SimulatedClaudeTest, newConversationGetsAnAddressATranscriptAndARecord) {
    claude.show("");
    claude.userNavigates("");
    claude.closesWindow();
    claude.opensWindow();
    writeEditor("begin");
    pass(1s);
    press(claude.sendElement());
    pass(5s);
    ASSERT_EQ(claude.conversations().size(), 3u);
    const auto& made = claude.conversations().back();
    EXPECT_EQ(claude.shown(), made.desktopID);
    const ConversationRoot roots[] = {{Agent::claude, folder.path("home/.claude/projects")}};
    const auto found =
        ConversationCatalog::resolve(Agent::claude, made.desktopID, roots, folder.path("records"));
    EXPECT_EQ(found.transcriptPath, made.transcriptPath);
    EXPECT_EQ(onDisk(made.desktopID).messages.front().text, "begin");
}

} // namespace
} // namespace orvel
