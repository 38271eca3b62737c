// Delivery into Codex: what may be repeated and what may not, and the watch of the turn.

#include "reading/DeliveryFixture.h"

#include "Orvel/delivery/CodexMessage.h"
#include "Orvel/delivery/CodexRelaySender.h"
#include "Orvel/reading/AgentTool.h"
#include "SavedTransfers.h"
#include "TemporaryFolder.h"
#include "samples/TranscriptWriter.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto payload = "look\nat this \n"; // To be passed on to the last byte.

class CodexRelaySenderTest : public DeliveryTest {
  protected:
    /// The command `codex queue`, which ends with a status after a time, or never.
    struct Queue : SimulatedProgram {
        Queue(SimulatedChildSide side, CodexRelaySenderTest& test) : SimulatedProgram(side), test(test) {}
        void started() override {
            if (test.queueStatus) side.after(test.queueTime, [this] { side.exit(*test.queueStatus); });
        }
        void terminated() override { ++test.terminations; }
        CodexRelaySenderTest& test;
    };

    void SetUp() override {
        transcript.ask("q1").answer("a1");
        writeTranscript();
        processes.environment["PATH"] = "/tools/bin:/bin";
        const auto appServer = processes.programs.at(server.executable);
        processes.programs[server.executable] =
            [this, appServer](SimulatedChildSide side,
                              const ChildLaunch& launch) -> std::unique_ptr<SimulatedProgram> {
            if (launch.arguments.front() == "queue") return std::make_unique<Queue>(side, *this);
            return appServer(side, launch);
        };
    }

    void TearDown() override {
        sender.reset();
        EXPECT_EQ(processes.running(), 0);
    }

    void writeTranscript() { reference.transcriptPath = folder.write("rollout.jsonl", transcript.text()); }

    std::optional<ChildLaunch> queueLaunch() const {
        for (const auto& launch : processes.launches)
            if (launch.arguments.front() == "queue") return launch;
        return std::nullopt;
    }

    struct Sent {
        std::string words = "done";
        bool canRetry = false;
    };

    Sent send(const std::string& message = payload) {
        const CodexRelaySender::LifecycleFailure note = [this](const std::string& text) {
            late.push_back(text);
        };
        Sent sent;
        TaskScope scope;
        scope.start(noteSend(sender->send(savedTransfer(message), reference, note), sent));
        loop.runFor(sendTime);
        return sent;
    }

    static Task<void> noteSend(Task<void> work, Sent& sent) {
        sent.words = "unfinished";
        try {
            co_await work;
            sent.words = "done";
        } catch (const RelaySendError& error) {
            sent = {error.what(), error.canRetry()};
        } catch (const std::exception& error) {
            sent = {std::string("passed on: ") + error.what(), false};
        }
    }

    TemporaryFolder folder;
    CodexTranscript transcript{{.id = Server::thread}};
    ConversationReference reference{.agent = Agent::codex, .sessionID = Server::thread};
    ConversationReader reading{loop, processes, "/home/sam"};
    std::optional<CodexRelaySender> sender{std::in_place, loop, processes, reading, "/home/sam"};

    std::optional<int> queueStatus = 0;
    MainLoop::Duration queueTime = 100ms;
    MainLoop::Duration sendTime = 40s;
    int terminations = 0;
    std::vector<std::string> late;
};

TEST_F(CodexRelaySenderTest, TheToolIsTheFirstInThePathThenInTheUsualPlaces) {
    const std::vector<std::string> places{"/one/codex",
                                          "/two/codex",
                                          "/home/sam/Library/pnpm/bin/codex",
                                          "/home/sam/.local/bin/codex",
                                          "/opt/homebrew/bin/codex",
                                          "/usr/local/bin/codex"};
    processes.environment["PATH"] = "/one::/two";
    processes.programs.clear();
    EXPECT_EQ(agentTool(Agent::codex, processes, "/home/sam"), std::nullopt);
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        processes.programs[*place] = nullptr;
        EXPECT_EQ(agentTool(Agent::codex, processes, "/home/sam"), *place);
    }
    processes.environment.clear();
    EXPECT_EQ(agentTool(Agent::codex, processes, "/home/sam"), places[2]);
}

TEST_F(CodexRelaySenderTest, UntilTheToolRunsAFailureMayBeRepeated) {
    const auto good = reference;
    const auto busy = Server::result({{"thread", {{"id", server.thread}, {"status", {{"type", "active"}}}}}});
    const auto failToStart = [](std::string_view step) {
        if (step == "start") throw ProcessError(ProcessError::Case::launchFailed, "No memory.");
    };
    const auto notLoaded = "Couldn't load the Codex conversation. Nothing was sent.\n";
    const auto notFound = "Codex CLI was not found or the conversation ID is invalid. Use Copy to recover.";
    const std::tuple<const char*, const char*, std::function<void()>> cases[] = {
        {"a busy conversation", notLoaded, [&] { server.answers["thread/resume"] = busy; }},
        {"a silent server", notLoaded, [&] { server.answers["initialize"] = Server::bytes(""); }},
        {"a server that cannot be started", notLoaded, [&] { processes.beforeStep = failToStart; }},
        {"a conversation of Claude", notFound, [&] { reference.agent = Agent::claude; }},
        {"no UUID", notFound, [&] { reference.sessionID = "thread-1"; }},
        {"no tool", notFound, [&] { processes.programs.clear(); }},
    };
    for (const auto& [name, words, arrange] : cases) {
        SCOPED_TRACE(name);
        processes.launches.clear();
        reference = good;
        arrange();
        const auto sent = send();
        EXPECT_TRUE(sent.words.starts_with(words)) << sent.words;
        EXPECT_TRUE(sent.canRetry);
        EXPECT_FALSE(queueLaunch());
        EXPECT_TRUE(words == notLoaded || processes.launches.empty());
        EXPECT_EQ(processes.running(), 0);
    }
}

TEST_F(CodexRelaySenderTest, OnceTheToolHasRunNothingMayBeRepeated) {
    const auto refused = "Codex could not accept the queued message. Copy the pending message to recover.";
    const auto late = "Codex acceptance verification timed out. Check delivery records before resending.";
    for (const auto& [status, time, words, terminated] :
         std::vector<std::tuple<std::optional<int>, MainLoop::Duration, const char*, int>>{
             {1, 14s, refused, 0},
             {137, 0s, refused, 0},
             {0, 15'001ms, late, 1},
             {std::nullopt, 0s, late, 1}}) {
        SCOPED_TRACE(words);
        queueStatus = status;
        queueTime = time;
        terminations = 0;
        const auto sent = send();
        EXPECT_EQ(sent.words, words);
        EXPECT_FALSE(sent.canRetry);
        EXPECT_EQ(terminations, terminated);
        EXPECT_EQ(processes.running(), 0);
    }
}

TEST_F(CodexRelaySenderTest, NothingIsHandedOverByAToolThatCannotBeStarted) {
    const std::string words =
        "Codex could not be started, so nothing was sent. If that stays so, copy the saved message.\n";
    const auto tooLong = send(std::string(processes.longest + 1, 'x'));
    EXPECT_TRUE(tooLong.words.starts_with(words)) << tooLong.words;
    EXPECT_TRUE(tooLong.canRetry);
    int starts = 0;
    processes.beforeStep = [&](std::string_view step) {
        if (step == "start" && ++starts == 2)
            throw ProcessError(ProcessError::Case::launchFailed, "No memory.");
    };
    const auto sent = send();
    EXPECT_EQ(sent.words, words + "No memory.");
    EXPECT_TRUE(sent.canRetry);
    EXPECT_EQ(processes.running(), 0);
}

TEST_F(CodexRelaySenderTest, TheMessageIsOneArgumentOfItsOwn) {
    sendTime = 1s;
    EXPECT_EQ(send().words, "done");
    const auto launch = queueLaunch();
    ASSERT_TRUE(launch);
    EXPECT_EQ(launch->executable, server.executable);
    EXPECT_EQ(launch->arguments,
              (std::vector<std::string>{"queue", "--thread", server.thread, "--message", payload}));
    EXPECT_EQ(CodexMessage::arguments("-\n- x "), std::vector<std::string>{"--message=-\n- x "});
    EXPECT_EQ(launch->environment.at("PATH"),
              "/tools/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/tools/bin:/bin");
    EXPECT_FALSE(launch->hasPipes);
}

TEST_F(CodexRelaySenderTest, WhatNoArgumentCanHoldIsRefusedWithTheWayOut) {
    const auto tooLong = [](const char* size, const char* limit) {
        return std::string("The message has ") + size + " bytes, and Codex takes " + limit +
               " at most. Choose a later start for the range, or use Copy.";
    };
    const std::pair<std::string, std::string> cases[] = {
        {std::string(131'071, 'x'), ""},
        {std::string(131'072, 'x'), tooLong("131,072", "131,071")},
        {"-" + std::string(131'060, 'x'), ""}, // "--message=" stands in the same argument.
        {"-" + std::string(131'061, 'x'), tooLong("131,062", "131,061")},
        {std::string("a\0b", 3),
         "The message holds a NUL character, which can't be handed to Codex. Choose a "
         "later start for the range, or use Copy."},
    };
    for (const auto& [text, refusal] : cases)
        EXPECT_EQ(CodexMessage::refusal(text, 131'071).value_or(""), refusal);
}

TEST_F(CodexRelaySenderTest, TheTurnIsWatchedToItsReplyInTheTranscript) {
    sendTime = 1s;
    EXPECT_EQ(send().words, "done");
    ASSERT_TRUE(sender->watchedTurns().contains(server.thread));
    const auto turn = [&](const char* method, const char* status) {
        server.say({{"method", method},
                    {"params", {{"threadId", server.thread}, {"turn", {{"id", "t1"}, {"status", status}}}}}});
    };
    turn("turn/started", "inProgress");
    turn("turn/completed", "completed");
    loop.runFor(10min);
    EXPECT_EQ(processes.running(), 1); // The reply is not in the transcript yet.
    transcript.ask(payload).answer("done");
    writeTranscript();
    loop.runFor(1s);
    EXPECT_TRUE(sender->watchedTurns().empty());
    EXPECT_EQ(processes.running(), 0);
    EXPECT_TRUE(late.empty());
}

TEST_F(CodexRelaySenderTest, AWatchThatEndsBadlySaysSoLater) {
    const std::vector<std::pair<const char*, std::function<void()>>> cases{
        {"The Codex conversation connection ended. Check delivery records without resending automatically.",
         [&] { processes.killAll(); }},
        {"The Codex connection check timed out. Check delivery records.", [&] { loop.runFor(3600s); }},
    };
    for (const auto& [reason, harm] : cases) {
        SCOPED_TRACE(reason);
        sendTime = 1s;
        late.clear();
        EXPECT_EQ(send().words, "done");
        EXPECT_TRUE(late.empty());
        harm();
        loop.runFor(2s);
        EXPECT_EQ(late,
                  std::vector<std::string>{"The connection waiting for the Codex reply ended. Check the "
                                           "conversation and delivery records without resending.\n" +
                                           std::string(reason)});
        EXPECT_EQ(processes.running(), 0);
    }
}

TEST_F(CodexRelaySenderTest, AReplyCountsOnlyBehindTheMessage) {
    const Message sent{"m", "user", "P"}, reply{"r", "assistant", "ok"}, other{"o", "user", "else"};
    for (const auto& [name, messages, after, isAnswered] :
         std::vector<std::tuple<const char*, std::vector<Message>, std::optional<std::string>, bool>>{
             {"answered", {sent, reply}, std::nullopt, true},
             {"not yet", {sent}, std::nullopt, false},
             {"another question came first", {sent, other, reply}, std::nullopt, false},
             {"only other questions", {other, reply}, std::nullopt, false},
             {"not the exact text", {{"m", "user", "P "}, reply}, std::nullopt, false},
             {"said by the agent", {{"m", "assistant", "P"}, reply}, std::nullopt, false},
             {"before the position", {sent, reply}, "r", false},
             {"behind the position", {other, sent, reply}, "o", true},
             {"the position is gone", {sent, reply}, "gone", false}}) {
        Conversation conversation{.messages = messages};
        EXPECT_EQ(CodexRelaySender::completedPayload("P", after, conversation), isAnswered) << name;
        conversation.isBusy = true;
        EXPECT_FALSE(CodexRelaySender::completedPayload("P", after, conversation)) << name;
        conversation.isBusy = false;
        conversation.hasAmbiguousBranches = true;
        EXPECT_FALSE(CodexRelaySender::completedPayload("P", after, conversation)) << name;
    }
}

} // namespace
} // namespace orvel
