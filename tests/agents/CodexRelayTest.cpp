// The whole relay through the model: from a conversation of Claude into the real Codex, with its receipt.

#include "agents/RealCodex.h"
#include "model/FakeClaudeSender.h"

#include "Orvel/desktop/MemorySettings.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "Orvel/platform/unavailable/UnavailablePasteboard.h"
#include "samples/TranscriptWriter.h"

namespace orvel {
namespace {

struct NoPanels : Panels {
    std::optional<std::string> chooseFile(const OpenPanel&) override { return std::nullopt; }
};

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
            Desktop{world.loop, pasteboard, panels, applications, settings, files, world.processes}, claude,
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
        for (const auto& reference : model->relay().catalog.get())
            if (reference.agent == agent) return reference;
        throw std::runtime_error("no such conversation");
    }

    UnavailablePasteboard pasteboard;
    NoPanels panels;
    UnavailableApplications applications;
    MemorySettings settings;
    PosixFileStore files{world.loop};
    FakeClaudeSender claude{world.loop};
    ConversationReference codexReference;
    std::unique_ptr<OrvelModel> model;
};

TEST_F(CodexRelay, RunsFromSendToReceipt) {
    model->restoreRelay();
    model->discoverConversations();
    ASSERT_TRUE(finishes());
    model->chooseSource(found(Agent::claude));
    ASSERT_TRUE(finishes());
    model->chooseEndpoint(found(Agent::codex));
    ASSERT_TRUE(finishes());
    model->setInstruction("Please look at this.");
    model->sendRelay();
    ASSERT_TRUE(finishes());
    EXPECT_EQ(model->session().error.get().value_or(""), "");
    ASSERT_EQ(model->relay().relayState->transfers.size(), 1U);

    EXPECT_TRUE(world.runUntil([&] { return model->watchedTurns().empty(); }));
    const std::string text = *model->relay().relayState->transfers.back().payload;
    EXPECT_EQ(
        outcomeEndingWith(" | user: " + text + " | assistant: Answer to: " + text.substr(0, text.find('\n')),
                          codexReference),
        "user: Q | assistant: Answer to: Q | user: " + text +
            " | assistant: Answer to: " + text.substr(0, text.find('\n')));
    model->checkRelayReceipts();
    ASSERT_TRUE(finishes());
    EXPECT_FALSE(model->pendingTransfer());
    EXPECT_FALSE(model->relay().relayState->transfers.back().isPending());
}

} // namespace
} // namespace orvel
