// The whole road of a typed command: from the person's Return in an agent's editor to a message that stands
// in the other agent's transcript.

#include "Orvel/shell/CommandMonitoring.h"

#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/simulated/SimulatedClaude.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "TemporaryFolder.h"
#include "model/FakeClaudeSender.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr auto desktopID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr auto claudeID = "5b0d714f-0000-4000-8000-000000000002";
constexpr auto codexID = "01a1fd20-0000-7000-8000-000000000001";

class TypedCommand : public testing::Test {
  protected:
    void SetUp() override {
        desktop.loop.setNow(800'000'000);
        desktop.processes.environment["PATH"] = "/tools";
        CodexTranscript transcript({.id = codexID, .workingDirectory = "/code/lark"});
        folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl",
                     transcript.ask("q1").answer("a1").text());
        folder.write("config/Claude/claude-code-sessions/local_one.json",
                     std::string(R"({"sessionId":")") + desktopID + R"(","cliSessionId":")" + claudeID +
                         R"(","cwd":"/code/site","title":"Site"})");
        claude.addConversation(claudeID, desktopID, {"c1", "d1"});
        claude.show(desktopID);
        desktop.applications.install(claude);
        desktop.applications.bringToFront(desktop.applications.start(claude));
        model.catalogue.discoverConversations();
        monitoring.start();
        desktop.loop.runFor(20s); // Until Claude's editor is proved readable.
    }

    ConversationReference found(Agent agent) {
        for (const auto& reference : model.catalogue.state().catalog.get())
            if (reference.agent == agent) return reference;
        ADD_FAILURE() << "no conversation";
        return {};
    }

    /// A link from Claude to Codex of which a message has been received.
    void proveLink() {
        model.workspace.chooseSource(found(Agent::claude));
        desktop.loop.runFor(1s);
        model.links.chooseEndpoint(found(Agent::codex));
        desktop.loop.runFor(1s);
        model.outbox.sendRelay();
        desktop.loop.runFor(60s);
        model.receipts.checkRelayReceipts();
        desktop.loop.runFor(1s);
        ASSERT_EQ(transfers().back().status, RelayTransfer::Status::received)
            << model.notices.error().value_or("");
    }

    const RecordList<RelayTransfer>& transfers() { return model.ledger.state().relayState->transfers; }

    void typeIntoClaude(const std::string& text) {
        claude.userSetsDraft(desktopID, text);
        desktop.loop.runFor(1s);
    }

    void pressReturn() {
        desktop.keyboard.press("\r", {.keyCode = KeyCode::returnKey});
        desktop.keyboard.press("", {.type = TapEventType::keyUp, .keyCode = KeyCode::returnKey});
        desktop.loop.runFor(60s);
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    FakeClaudeSender sender{desktop.loop};
    SimulatedClaude claude{desktop, folder.path("home/.claude/projects"),
                           folder.path("config/Claude/claude-code-sessions")};
    SimulatedCodex codex{desktop.processes, desktop.loop, "/tools/codex", folder.path("home/.codex")};
    OrvelModel model{desktop.ports(), sender,
                     AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config")),
                     folder.path("data/state.json")};
    CommandMonitoring monitoring{model.changes(), desktop.ports(), model.commandInbox, {}};
};

TEST_F(TypedCommand, GoesFromClaudeIntoCodexOnItsOwn) {
    proveLink();
    typeIntoClaude("/orvel Look at this.");
    pressReturn();
    EXPECT_EQ(claude.editorText(), "");
    EXPECT_THAT(claude.conversation(desktopID)->received, ElementsAre("c1")) << "the command is no message";
    ASSERT_EQ(transfers().size(), 2U) << model.notices.status() << model.notices.error().value_or("");
    EXPECT_EQ(transfers().back().instruction, "Look at this.");
    model.receipts.checkRelayReceipts();
    desktop.loop.runFor(1s);
    EXPECT_EQ(transfers().back().status, RelayTransfer::Status::received);
}

TEST_F(TypedCommand, IsOnlyPlacedBeforeTheLinkHasProvedItself) {
    typeIntoClaude("/orvel Look at this.");
    pressReturn();
    EXPECT_EQ(claude.editorText(), "");
    EXPECT_EQ(model.workspace.state().instruction.get(), "Look at this.");
    EXPECT_EQ(model.workspace.state().conversation.get()->id, claudeID);
    EXPECT_TRUE(transfers().empty());
}

TEST_F(TypedCommand, AnOrdinaryMessageGoesToClaude) {
    typeIntoClaude("Look at this.");
    pressReturn();
    EXPECT_THAT(claude.conversation(desktopID)->received, ElementsAre("c1", "Look at this."));
    EXPECT_EQ(model.workspace.state().instruction.get(), "");
}

TEST_F(TypedCommand, IsNotWatchedForWhileTheInputMethodIsRecorded) {
    typeIntoClaude("/orvel CANARY");
    monitoring.recordInputMethod();
    desktop.loop.runFor(2s);
    claude.userComposes("CANARY");
    desktop.loop.runFor(2s);
    desktop.applications.bringToFront(SimulatedApplications::self);
    desktop.loop.runFor(2s);
    EXPECT_FALSE(monitoring.lifecycle.isMonitoring());
    EXPECT_TRUE(monitoring.inputMethod.isRecording());
    const auto report = monitoring.diagnosticReport().text();
    for (const auto* state : {"AXTextArea / Marked result=-25212 / Marked value=false", "Marked value=true",
                              "Another app is in the foreground"})
        EXPECT_THAT(report, testing::HasSubstr(state));
    EXPECT_THAT(report, testing::Not(testing::HasSubstr("CANARY")));
    desktop.loop.runFor(60s);
    EXPECT_FALSE(monitoring.inputMethod.isRecording()) << "it ends by itself";
    EXPECT_FALSE(monitoring.lifecycle.isMonitoring()) << "paused";
    monitoring.recordInputMethod();
    monitoring.lifecycle.resume();
    EXPECT_TRUE(monitoring.lifecycle.isMonitoring());
    EXPECT_FALSE(monitoring.inputMethod.isRecording());
}

} // namespace
} // namespace orvel
