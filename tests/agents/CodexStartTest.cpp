// A new conversation with the real Codex, begun by `codex exec`.

#include "agents/RealCodex.h"

#include "Orvel/delivery/CodexConversationStart.h"
#include "conversations/Outcome.h"

#include <filesystem>

#include <gmock/gmock.h>

namespace orvel {
namespace {

using testing::HasSubstr;

class CodexStart : public RealCodex {
  protected:
    void SetUp() override {
        RealCodex::SetUp();
        if (IsSkipped()) return;
        starts = std::make_unique<CodexConversationStart>(world.loop, world.processes, *reading, folders());
    }

    /// Gives "done" or the failure's text.
    std::string start(const std::string& text) {
        RelayInitialTransfer transfer;
        transfer.destinationAgent = Agent::codex;
        transfer.payload = Shared<std::string>(text);
        return world.outcomeOf(take(std::move(transfer)));
    }
    bool ends() {
        return world.runUntil([&] { return isCompleted; });
    }

    /// Lets `codex` be a program that ends the real one once the gate is open.
    void makeMortal() {
        const auto program =
            folder.write("bin/codex", "#!/bin/sh\nexec 3<&0\n\"" + tool + "\" \"$@\" <&3 &\nwhile [ ! -e \"" +
                                          gate() + "\" ]; do sleep 0.1; done\nkill $!\nwait $!\n");
        std::filesystem::permissions(program, std::filesystem::perms(0700));
        setVariable("PATH", folder.path("bin") + ':' + variable("PATH"));
    }

    std::unique_ptr<CodexConversationStart> starts;
    std::optional<ConversationReference> started;
    std::optional<std::string> failure;
    bool isCompleted = false;

  private:
    Task<void> take(RelayInitialTransfer transfer) {
        const CodexConversationStart::Completion completed = [this](const ConversationReference&,
                                                                    const std::optional<std::string>& why) {
            isCompleted = true;
            failure = why;
        };
        started = co_await starts->start(std::move(transfer), folder.path("home"), completed);
    }
};

TEST_F(CodexStart, AConversationIsKnownBeforeItsTurnHasEndedWhichIsWatched) {
    const std::string text = "- M\nwith “more” wait-for=" + gate();
    ASSERT_EQ(start(text), "done");
    EXPECT_EQ(started->workingDirectory, folder.path("home"));
    EXPECT_EQ(starts->watchedTurns().count(started->sessionID), 1U);
    EXPECT_EQ(outcome(*started), "user: " + text + " [busy]");
    openGate();
    ASSERT_TRUE(ends());
    EXPECT_EQ(failure.value_or(""), "");
    EXPECT_EQ(outcome(*started), "user: " + text + " | assistant: Answer to: - M");
    EXPECT_TRUE(starts->watchedTurns().empty());
}

TEST_F(CodexStart, ATurnThatFailsOrIsEndedIsToldAndNotRepeated) {
    ASSERT_EQ(start("M fail-the-turn"), "done");
    ASSERT_TRUE(ends());
    EXPECT_THAT(failure.value_or(""), HasSubstr("Codex's turn ended with status 1."));
    isCompleted = false;
    makeMortal();
    ASSERT_EQ(start("N wait-for=" + folder.path("never")), "done");
    openGate();
    ASSERT_TRUE(ends());
    EXPECT_THAT(failure.value_or(""), HasSubstr("Codex's turn ended with status 143."));
    EXPECT_EQ(conversations(Agent::codex).size(), 2U);
    EXPECT_EQ(outcome(*started), "user: N wait-for=" + folder.path("never") + " [busy]");
}

TEST_F(CodexStart, NothingIsStartedWithoutAFolderOrAProgram) {
    constexpr auto refusal = "Check Codex CLI and the working folder.";
    EXPECT_EQ(starts->refusal(folder.path("gone")), refusal);
    EXPECT_EQ(starts->refusal(folder.path("home")), std::nullopt);
    // What the command itself would say.
    EXPECT_EQ(statusOf({"exec", "--json", "--skip-git-repo-check", "-C", folder.path("gone"), "M"}), 1);
    setVariable("PATH", folder.path("nowhere"));
    EXPECT_EQ(starts->refusal(folder.path("home")), refusal);
    EXPECT_EQ(start("M"), refusal);
    EXPECT_TRUE(conversations(Agent::codex).empty());
}

} // namespace
} // namespace orvel
