#pragma once
// Two conversations that are done, one of each agent, and what it takes to relay between them.

#include "model/ModelFixture.h"

#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/relay/RelayError.h"

namespace orvel {

class RelayFixture : public ModelFixture {
  protected:
    void SetUp() override {
        codexTranscript.ask("q1").answer("a1");
        claudeTranscript.ask("c1").answer("d1");
        writeTranscripts();
    }

    void writeTranscripts() const {
        folder.write("home/.codex/sessions/2026/11/rollout-one.jsonl", codexTranscript.text());
        folder.write("home/.claude/projects/-code-site/" + std::string(claudeID) + ".jsonl",
                     claudeTranscript.text());
    }

    ConversationReference found(Agent agent) {
        if (model().catalogue.state().catalog->empty()) {
            model().catalogue.discoverConversations();
            desktop.loop.run();
        }
        for (const auto& reference : model().catalogue.state().catalog.get())
            if (reference.agent == agent) return reference;
        ADD_FAILURE() << "no conversation of " << rawValue(agent);
        return {};
    }

    /// Makes the pair, or opens it, with the message going out from `source`.
    void pairUp(Agent source) {
        const auto from = found(source), to = found(other(source));
        model().workspace.chooseSource(from);
        desktop.loop.run();
        model().links.chooseEndpoint(to);
        desktop.loop.run();
        ASSERT_TRUE(model().workspace.relay().activePair()) << errorText();
        ASSERT_EQ(session().source.get(), source);
    }

    /// The message arrives in Claude's transcript.
    void arriveInClaude(const std::string& text) {
        claudeTranscript.ask(text);
        writeTranscripts();
    }

    /// Codex is asked again and answers.
    void goOnInCodex() {
        codexTranscript.ask("q2").answer("a2");
        writeTranscripts();
    }

    /// Sends what is ready, or what is saved and may be sent again.
    void send() {
        model().outbox.sendRelay();
        desktop.loop.run();
    }

    /// Sends to a Claude that refuses.
    void failToSend(bool canRetry) {
        claude.failure = RelaySendError("No.", canRetry);
        send();
        claude.failure.reset();
    }

    void copy() {
        model().outbox.copy(desktop.pasteboard);
        desktop.loop.run();
    }

    void checkReceipts() {
        model().receipts.checkRelayReceipts();
        desktop.loop.run();
    }

    void failSaving(bool fails = true) {
        desktop.files.beforeReplacing = [fails](const std::string& path) {
            if (fails) throw FileError(FileError::Case::outOfSpace, "save", path, "No space left on device");
        };
    }

    const RelayState& state() { return model().ledger.state().relayState; }
    const RelayTransfer& onlyTransfer() {
        EXPECT_EQ(state().transfers.size(), 1U);
        return state().transfers.back();
    }

    std::string statePath() const { return folder.path("data/relay-state.json"); }
    RelayState stateOnDisk() const { return readRelayState(statePath()); }

    /// Every operation must end, and memory must always equal the disk.
    void TearDown() override {
        EXPECT_FALSE(model().outbox.state().operation.isUnderWay());
        if (std::filesystem::exists(statePath()) && !model().ledger.state().relayStorageError) {
            EXPECT_EQ(state(), stateOnDisk());
        }
    }

    CodexTranscript codexTranscript{{.id = codexID, .workingDirectory = "/code/compiler"}};
    ClaudeTranscript claudeTranscript{{.id = claudeID, .workingDirectory = "/code/site"}};
};

} // namespace orvel
