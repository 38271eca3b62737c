// The whole relay through the model: from a conversation of Claude into the real Codex, with its receipt.

#include "agents/RealCodex.h"
#include "model/FakeClaudeSender.h"

#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/unavailable/UnavailableDesktop.h"
#include "Orvel/platform/zip/LibzipArchives.h"
#include "samples/TranscriptWriter.h"

namespace orvel {
namespace {

class CodexRelay : public RealCodex {
  protected:
    void SetUp() override {
        RealCodex::SetUp();
        if (IsSkipped()) return;
        ClaudeTranscript transcript({.id = "5b0d714f-0000-4000-8000-000000000002"});
        folder.write("home/.claude/projects/-code/5b0d714f-0000-4000-8000-000000000002.jsonl",
                     transcript.ask("c1").answer("d1").text());
        codexReference = begin("Q");
        startServer();
        model = std::make_unique<OrvelModel>(
            nothingElse.ports(world.loop, files, world.processes, zipArchives), claude,
            AgentFolders::of(folder.path("home"), folder.path("codex"), std::nullopt, folder.path("config")),
            folder.path("data/state.json"));
    }
    void TearDown() override {
        model.reset();
        RealCodex::TearDown();
    }

    bool finishes() {
        return world.runUntil([&] { return model->isIdle(); });
    }
    ConversationReference found(Agent agent) const {
        for (const auto& reference : model->catalogue.state().catalog.get())
            if (reference.agent == agent) return reference;
        throw std::runtime_error("no such conversation");
    }

    UnavailableDesktop nothingElse;
    PosixFileStore files{world.loop};
    LibzipArchives zipArchives{world.loop};
    FakeClaudeSender claude{world.loop};
    ConversationReference codexReference;
    std::unique_ptr<OrvelModel> model;
};

TEST_F(CodexRelay, RunsFromSendToReceipt) {
    model->links.restoreRelay();
    model->catalogue.discoverConversations();
    ASSERT_TRUE(finishes());
    model->workspace.chooseSource(found(Agent::claude));
    ASSERT_TRUE(finishes());
    model->links.chooseEndpoint(found(Agent::codex));
    ASSERT_TRUE(finishes());
    model->workspace.setInstruction("Please look at this.");
    model->outbox.sendRelay();
    ASSERT_TRUE(finishes());
    EXPECT_EQ(model->notices.error().value_or(""), "");
    ASSERT_EQ(model->ledger.state().relayState->transfers.size(), 1U);

    EXPECT_TRUE(world.runUntil([&] { return model->outbox.watchedTurns().empty(); }));
    const std::string text = *model->ledger.state().relayState->transfers.back().payload;
    EXPECT_EQ(
        outcomeEndingWith(" | user: " + text + " | assistant: Answer to: " + text.substr(0, text.find('\n')),
                          codexReference),
        "user: Q | assistant: Answer to: Q | user: " + text +
            " | assistant: Answer to: " + text.substr(0, text.find('\n')));
    model->receipts.checkRelayReceipts();
    ASSERT_TRUE(finishes());
    EXPECT_FALSE(model->workspace.relay().pendingTransfer());
    EXPECT_FALSE(model->ledger.state().relayState->transfers.back().isPending());
}

} // namespace
} // namespace orvel
