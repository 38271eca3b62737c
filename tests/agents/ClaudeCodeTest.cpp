// Orvel's way into conversations that only Claude Code knows, against the real command.

#include "agents/RealAgents.h"
#include "model/FakeClaudeSender.h"

#include "Orvel/delivery/ClaudeCodeRelaySender.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/unavailable/UnavailableDesktop.h"
#include "Orvel/platform/zip/LibzipArchives.h"
#include "Orvel/reading/ClaudeCodeSessions.h"
#include "OrvelCore/files/FilePath.h"
#include "SavedTransfers.h"
#include "samples/TranscriptWriter.h"

#include <csignal>
#include <filesystem>

#include <pty.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace orvel {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class RealClaudeCode : public RealAgents {
  protected:
    RealClaudeCode() : RealAgents("ORVEL_CLAUDE") {}
    void SetUp() override {
        RealAgents::SetUp();
        if (IsSkipped()) return;
        std::filesystem::create_directories(folder.path("code"));
        reading = std::make_unique<ConversationReader>(world.loop, world.processes, folder.path("home"));
        restart();
    }
    void restart() {
        sender = std::make_unique<ClaudeCodeRelaySender>(world.loop, world.processes, *reading, folders());
    }

    ConversationReference begin(const std::string& message) {
        return newest(
            Agent::claude,
            {.executable = tool, .arguments = {"-p", message}, .workingDirectory = folder.path("code")});
    }

    std::string send(const std::string& text, const ConversationReference& to) {
        const auto isReceived = [text](const Conversation& conversation) {
            return std::any_of(conversation.messages.begin(), conversation.messages.end(),
                               [&](const auto& each) { return each.role == "user" && each.text == text; });
        };
        return world.outcomeOf(sender->send(savedTransfer(text), to, isReceived,
                                            [this](const auto& failure) { failures.push_back(failure); }));
    }
    bool turnEnds() {
        return world.runUntil([&] { return sender->watchedTurns().empty(); });
    }

    std::unique_ptr<ConversationReader> reading;
    std::unique_ptr<ClaudeCodeRelaySender> sender;
    std::vector<std::string> failures;
};

int timesIn(const std::string& part, const std::string& text) {
    int count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
}

// Somebody who has the conversation open in a terminal.
class Terminal {
  public:
    Terminal(const std::string& tool, const std::string& sessionID, const std::string& workingDirectory) {
        process = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (process == 0) {
            if (chdir(workingDirectory.c_str()) == 0)
                execl(tool.c_str(), "claude", "--resume", sessionID.c_str(), nullptr);
            _exit(127);
        }
    }
    ~Terminal() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        close(terminal);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

  private:
    pid_t process;
    int terminal = -1;
};

TEST_F(RealClaudeCode, AMessageIsDeliveredAndWatchedToItsReply) {
    const auto reference = begin("Q");
    for (const auto& text : {std::string("-M\nwith “more”\n"), std::string(300'000, 'x')}) {
        ASSERT_EQ(send(text, reference), "done");
        EXPECT_EQ(sender->watchedTurns().size(), 1U);
        EXPECT_TRUE(turnEnds());
        EXPECT_THAT(outcome(reference), HasSubstr("user: " + text + " | assistant: Answer to: "));
    }
    EXPECT_THAT(failures, testing::IsEmpty());
}

TEST_F(RealClaudeCode, TheTurnGoesOnWithoutOrvel) {
    const auto reference = begin("Q");
    ASSERT_EQ(send("M wait-for=" + gate(), reference), "done");
    EXPECT_THAT(send("N", reference), HasSubstr("Nothing was sent."));
    restart();
    openGate();
    EXPECT_THAT(outcomeEndingWith("Answer to: M wait-for=" + gate(), reference),
                EndsWith("Answer to: M wait-for=" + gate()));
}

TEST_F(RealClaudeCode, AFailedTurnIsToldAndTheMessageIsReceived) {
    const auto reference = begin("Q");
    EXPECT_EQ(send("M fail-the-turn", reference), "done");
    EXPECT_TRUE(turnEnds());
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_THAT(failures[0], HasSubstr("ended with status 1"));
    EXPECT_THAT(failures[0], HasSubstr("The model server was asked to fail."));
}

TEST_F(RealClaudeCode, AConversationThatIsOpenInATerminalIsRefused) {
    const auto reference = begin("Q");
    const auto trusted = R"({"hasCompletedOnboarding":true,"theme":"dark","customApiKeyResponses":)"
                         R"({"approved":["none"],"rejected":[]},"projects":{")" +
                         folder.path("code") + R"(":{"hasTrustDialogAccepted":true}}})";
    folder.write("claude/.claude.json", trusted);
    {
        const Terminal terminal(tool, reference.sessionID, folder.path("code"));
        const auto isOpen = [&] {
            const auto sessions = ClaudeCodeSessions::read(folders().claude);
            return ClaudeCodeSessions::holder(sessions, reference.sessionID, world.processes).has_value();
        };
        ASSERT_TRUE(world.runUntil(isOpen));
        EXPECT_THAT(send("M", reference), HasSubstr("has this conversation open"));
    }
    // Killed, it leaves its note behind.
    EXPECT_FALSE(ClaudeCodeSessions::read(folders().claude).empty());
    EXPECT_EQ(send("M", reference), "done");
    EXPECT_TRUE(turnEnds());
}

TEST_F(RealClaudeCode, ItsOwnCommandsWouldNotArriveAsTexts) {
    folder.write("code/.claude/commands/mine.md", "Do it.");
    const auto reference = begin("Q");
    for (const auto* text : {"/compact now", "/mine", "/cost", "/no-such-command"}) {
        EXPECT_TRUE(ClaudeCodeRelaySender::refusalOf(text)) << text;
        EXPECT_THAT(send(text, reference), HasSubstr("Nothing was sent."));
    }
    for (const auto* text : {"/tmp/one is broken", " /compact", "!ls", "#note"}) {
        EXPECT_EQ(send(text, reference), "done");
        EXPECT_TRUE(turnEnds());
    }
    EXPECT_THAT(outcome(reference), Not(HasSubstr("compact now")));
}

// From a conversation of Codex, through the model, to the receipt.
TEST_F(RealClaudeCode, ARelayRunsFromSendToReceipt) {
    CodexTranscript transcript({.id = "01a1fd20-0000-7000-8000-000000000001"});
    folder.write("codex/sessions/2026/11/rollout-one.jsonl", transcript.ask("c1").answer("d1").text());
    begin("Q");
    UnavailableDesktop nothingElse;
    PosixFileStore files{world.loop};
    LibzipArchives zipArchives{world.loop};
    FakeClaudeSender claude{world.loop};
    OrvelModel model(nothingElse.ports(world.loop, files, world.processes, zipArchives), claude, folders(),
                     folder.path("data/state.json"));
    const auto finishes = [&] { return world.runUntil([&] { return model.isIdle(); }); };
    const auto found = [&](Agent agent) {
        for (const auto& reference : model.catalogue.state().catalog.get())
            if (reference.agent == agent) return reference;
        throw std::runtime_error("no such conversation");
    };
    model.links.restoreRelay();
    model.catalogue.discoverConversations();
    ASSERT_TRUE(finishes());
    model.workspace.chooseSource(found(Agent::codex));
    ASSERT_TRUE(finishes());
    model.links.chooseEndpoint(found(Agent::claude));
    ASSERT_TRUE(finishes());
    model.workspace.setInstruction("Please look at this.");
    model.outbox.allowClaudeCode(true);
    model.outbox.sendRelay();
    ASSERT_TRUE(finishes());
    EXPECT_EQ(model.notices.error().value_or(""), "");
    EXPECT_TRUE(world.runUntil([&] { return model.outbox.watchedTurns().empty(); }));
    model.receipts.checkRelayReceipts();
    ASSERT_TRUE(finishes());
    ASSERT_EQ(model.ledger.state().relayState->transfers.size(), 1U);
    const auto& sent = model.ledger.state().relayState->transfers.back();
    EXPECT_FALSE(sent.isPending());
    EXPECT_THAT(outcome(found(Agent::claude)), HasSubstr("user: " + *sent.payload + " | assistant: Answer"));
}

// Orvel is killed at any moment of a send; what it started goes its way.
TEST_F(RealClaudeCode, AKillAtAnyMomentNeitherDoublesNorLosesAMessage) {
    using namespace std::chrono_literals;
    const auto reference = begin("Q");
    CodexTranscript transcript({.id = "01a1fd20-0000-7000-8000-000000000001"});
    folder.write("codex/sessions/2026/11/rollout-one.jsonl", transcript.ask("c1").answer("d1").text());
    int received = 0, kept = 0;
    for (auto delay = 0ms; delay <= 1'200ms; delay += 40ms) {
        const auto data = folder.path("data" + std::to_string(delay.count()));
        const auto cli = [&](std::vector<std::string> arguments) {
            arguments.insert(arguments.begin(), {"--data", data});
            return ChildLaunch{.executable = ORVEL_CLI, .arguments = std::move(arguments)};
        };
        ASSERT_EQ(world.statusOf(cli({"link", "01a1fd20-0000-7000-8000-000000000001", reference.sessionID})),
                  0);
        const auto state = [&] { return readRelayState(joinedPath(data, "relay-state.json")); };
        const auto link = state().pairs[0].id;
        const auto note = "Note " + std::to_string(delay.count());
        const auto send = world.processes.start(
            cli({"send", link, "--source", "codex", "--note", note, "--through-claude-code"}));
        world.runFor(delay);
        send->kill();
        const auto isFree = [&] {
            const auto sessions = ClaudeCodeSessions::read(folders().claude);
            return !ClaudeCodeSessions::holder(sessions, reference.sessionID, world.processes);
        };
        int looks = 0;
        do world.runFor(700ms); // What it may have started has noted itself by then.
        while (!isFree() && ++looks < 60);
        ASSERT_LT(looks, 60);
        EXPECT_EQ(world.statusOf(cli({"receipts"})), 0);
        if (state().transfers.empty()) {
            EXPECT_EQ(timesIn(note + "\n", outcome(reference)), 0) << note;
            continue;
        }
        // What may have been handed over is not sent again; that nothing waits any more, or that this finds
        // the message, means that it is there.
        const bool wasPending = state().transfers.back().isPending();
        const auto retried = world.statusOf(cli({"retry", link, "--through-claude-code"}));
        const auto times = timesIn(note + "\n", outcome(reference));
        EXPECT_EQ(times, !wasPending || retried == 0 ? 1 : 0) << note;
        EXPECT_EQ(state().transfers.back().isPending(), times == 0) << note;
        ++(times == 1 ? received : kept);
    }
    EXPECT_GT(received, 0);
    EXPECT_GT(kept, 0);
}

} // namespace
} // namespace orvel
