// The conversations of this machine: discovery, opening by reference, reading again.

#include "model/ModelFixture.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

class RelayModelTest : public ModelFixture {
  protected:
    void discover() {
        model().catalogue.discoverConversations();
        desktop.loop.run();
    }
};

TEST_F(RelayModelTest, OneDiscoveryRunsAtATime) {
    writeCodex();
    desktop.loop.setBackgroundDuration(3s);
    model().catalogue.discoverConversations();
    desktop.loop.runFor(2s);
    model().catalogue.discoverConversations();
    desktop.loop.runFor(1s);
    EXPECT_FALSE(model().catalogue.state().isDiscovering);
    EXPECT_TRUE(model().isIdle());
}

TEST_F(RelayModelTest, AnOpenFileFindsItsReferenceInTheCatalogue) {
    const auto path = writeCodex();
    load(path);
    EXPECT_FALSE(model().workspace.relay().cardReference(Agent::codex));
    discover();
    ASSERT_TRUE(model().workspace.relay().cardReference(Agent::codex));
    EXPECT_EQ(model().workspace.relay().cardReference(Agent::codex)->transcriptPath, path);

    load(writeCodex());
    EXPECT_TRUE(model().workspace.relay().cardReference(Agent::codex));
    load(folder.write("elsewhere.jsonl", contentsOf(path)));
    EXPECT_FALSE(model().workspace.relay().cardReference(Agent::codex));
}

TEST_F(RelayModelTest, RefreshingReadsWhatWasWrittenMeanwhileAndKeepsTheRange) {
    const auto path = writeCodex();
    discover();
    model().workspace.chooseSource(model().catalogue.state().catalog->front());
    desktop.loop.run();
    model().workspace.selectRange(session().conversation.get()->messages[2].id);
    CodexTranscript longer({.id = codexID, .workingDirectory = "/code/compiler"});
    longer.ask("q1").answer("a1").ask("q2").answer("a2").ask("q3").answer("a3");
    folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl", longer.text());
    model().workspace.refresh();
    desktop.loop.run();
    EXPECT_EQ(model().workspace.relay().preview(), "me: q2\n\ncodex: a2\n\nme: q3\n\ncodex: a3");
}

TEST_F(RelayModelTest, AReferenceWhoseFileHoldsAnotherConversationIsRefused) {
    const auto path = writeCodex();
    discover();
    const auto reference = model().catalogue.state().catalog->front();
    folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl",
                 CodexTranscript({.id = "another"}).ask("q").answer("a").text());
    model().workspace.chooseSource(reference);
    desktop.loop.run();
    EXPECT_EQ(errorText(), "The selected conversation ID does not match the loaded transcript.");
    EXPECT_FALSE(session().conversation.get());
    std::filesystem::remove(path);
    model().workspace.refresh();
    desktop.loop.run();
    EXPECT_EQ(errorText(), "Couldn't find Codex CLI to locate the conversation or load inherited history.");
    EXPECT_FALSE(session().isLoading);
}

} // namespace
} // namespace orvel
