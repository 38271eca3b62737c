// Delivery through Claude Code's own command: what is refused before it is started, and what is told of it
// afterwards.

#include "Orvel/delivery/ClaudeCodeRelaySender.h"

#include "Orvel/platform/simulated/SimulatedClaudeCode.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "SavedTransfers.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto session = "5b0d714f-0000-4000-8000-000000000002";
constexpr auto payload = "-p\nlook “here” \n";

class ClaudeCodeRelaySenderTest : public testing::Test {
  protected:
    ClaudeCodeRelaySenderTest() {
        processes.environment["PATH"] = "/tools";
        std::filesystem::create_directories(folder.path("code"));
        claude.addConversation(session, folder.path("code"), {"q", "a"});
        reference.transcriptPath = claude.transcriptPath(session);
    }

    struct Sent {
        std::string words = "unfinished";
        bool canRetry = false;
    };
    Sent send(const char* text = payload) {
        const auto isReceived = [text](const Conversation& conversation) {
            return std::any_of(conversation.messages.begin(), conversation.messages.end(),
                               [&](const auto& each) { return each.role == "user" && each.text == text; });
        };
        Sent sent;
        TaskScope scope;
        scope.start(note(sender->send(savedTransfer(text), reference, isReceived,
                                      [this](const auto& failure) { late.push_back(failure); }),
                         sent));
        loop.runFor(40s);
        return sent;
    }
    static Task<void> note(Task<void> work, Sent& sent) {
        try {
            co_await work;
            sent.words = "done";
        } catch (const RelaySendError& error) {
            sent = {error.what(), error.canRetry()};
        }
    }
    bool wasHandedOver() const {
        return std::any_of(processes.launches.begin(), processes.launches.end(),
                           [](const auto& launch) { return launch.arguments.front() == "-p"; });
    }

    TemporaryFolder folder = TemporaryFolder::quick();
    SimulatedLoop loop;
    SimulatedProcesses processes{loop};
    SimulatedClaudeCode claude{processes, "/tools/claude", folder.path("claude")};
    ConversationReader reading{loop, processes, "/home/sam"};
    ConversationReference reference{
        .agent = Agent::claude, .sessionID = session, .workingDirectory = folder.path("code")};
    std::optional<ClaudeCodeRelaySender> sender{
        std::in_place, loop, processes, reading,
        AgentFolders{.home = "/home/sam", .claude = folder.path("claude")}};
    std::vector<std::string> late;
};

TEST_F(ClaudeCodeRelaySenderTest, TheTextGoesInAsItIsFromTheConversationsOwnFolder) {
    EXPECT_EQ(send().words, "done");
    const auto& launch = processes.launches.back();
    EXPECT_EQ(launch.executable, "/tools/claude");
    EXPECT_EQ(launch.arguments,
              (std::vector<std::string>{"-p", "--resume", session, "--output-format", "json"}));
    EXPECT_EQ(launch.workingDirectory, folder.path("code"));
    EXPECT_EQ(launch.unattendedInput, payload);
    EXPECT_EQ(late, std::vector<std::string>());
    EXPECT_TRUE(sender->watchedTurns().empty());
    // What stands there already is not sent again.
    const auto starts = processes.launches.size();
    EXPECT_EQ(send().words, "done");
    EXPECT_EQ(processes.launches.size(), starts + 1) << "Only the version was asked for.";
}

TEST_F(ClaudeCodeRelaySenderTest, WithoutAFolderInTheReferenceTheTranscriptTellsIt) {
    reference.workingDirectory.reset();
    EXPECT_EQ(send().words, "done");
    EXPECT_EQ(processes.launches.back().workingDirectory, folder.path("code"));
}

TEST_F(ClaudeCodeRelaySenderTest, WhatCannotBeDeliveredIsRefusedBeforeAnythingIsHandedOver) {
    const struct {
        const char* name;
        std::function<void()> arrange;
        const char* words;
        const char* text = payload;
    } cases[] = {
        {"too old", [this] { claude.habits.version = "2.1.328 (Claude Code)\n"; },
         "Claude Code 2.1.328 is too old: 2.1.329 is the oldest"},
        {"no version", [this] { claude.habits.version = "2.1\n"; }, "did not tell its version"},
        {"another program", [this] { claude.habits.version = "9.9.9\n"; }, "did not tell its version"},
        {"the folder is gone", [this] { std::filesystem::remove(folder.path("code")); }, "is gone"},
        {"open in a terminal", [this] { claude.opensElsewhere(session); },
         "has this conversation open (process"},
        {"branches",
         [this] {
             send("first");
             claude.isContinuedElsewhere(session, "x");
             processes.launches.clear();
         },
         "has branches"},
        {"at work", [this] { claude.addConversation(session, folder.path("code"), {"q"}); },
         "has not finished"},
        {"one of its commands", [] {}, "for one of its commands", "/compact now"},
        {"no transcript", [this] { reference.transcriptPath = folder.path("none"); }, "Couldn't"},
        {"no command", [this] { processes.programs.erase("/tools/claude"); }, "“claude” was not found"},
    };
    const auto before = reference;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        each.arrange();
        const auto sent = send(each.text);
        EXPECT_THAT(sent.words, HasSubstr(each.words));
        EXPECT_TRUE(sent.canRetry);
        EXPECT_FALSE(wasHandedOver());
        std::filesystem::create_directories(folder.path("code"));
        claude.closesElsewhere();
        claude.habits = {};
        reference = before;
    }
}

TEST_F(ClaudeCodeRelaySenderTest, OnceItHasTheTextNothingIsCertain) {
    const auto apiError = R"({"is_error":true,"result":"API Error: 400 asked"})";
    const struct {
        const char* name;
        SimulatedClaudeCodeHabits habits;
        std::string words;              ///< Of the send.
        std::vector<std::string> later; ///< Of the watch.
    } cases[] = {
        {"ends at once", {.records = false, .status = 1}, "ended with status 1 and has not recorded", {}},
        {"says why", {.records = false, .status = 1, .output = apiError}, "\nAPI Error: 400 asked", {}},
        {"says that all is well", {.records = false}, "ended with status 0 and has not recorded", {}},
        {"hangs", {.records = false, .ends = false}, "not recorded the message within 30 seconds", {}},
        {"records and fails",
         {.status = 1, .output = apiError},
         "done",
         {"Claude Code's turn ended with status 1. Check the conversation and delivery records without "
          "resending.\nAPI Error: 400 asked"}},
        {"prints garbage",
         {.status = 7, .output = "{\"is_error\":true,\xFF CANARY"},
         "done",
         {"Claude Code's turn ended with status 7. Check the conversation and delivery records without "
          "resending."}},
        {"quotes at length",
         {.status = 7, .output = R"({"is_error":true,"result":")" + std::string(201, 'x') + "\"}"},
         "done",
         {"Claude Code's turn ended with status 7. Check the conversation and delivery records without "
          "resending."}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        claude.addConversation(session, folder.path("code"), {"q", "a"});
        claude.habits = each.habits;
        late.clear();
        const auto sent = send();
        EXPECT_THAT(sent.words, HasSubstr(each.words));
        EXPECT_FALSE(sent.canRetry);
        EXPECT_EQ(late, each.later);
        processes.killAll();
        loop.runFor(1s);
    }
}

TEST_F(ClaudeCodeRelaySenderTest, ATurnIsWatchedForAnHourAndNeverEnded) {
    claude.habits.ends = false;
    EXPECT_EQ(send().words, "done");
    EXPECT_EQ(sender->watchedTurns().count(session), 1U);
    EXPECT_THAT(send("another").words, HasSubstr("has not finished its turn"));
    loop.runFor(3'600s);
    EXPECT_TRUE(sender->watchedTurns().empty());
    EXPECT_THAT(late, testing::ElementsAre(HasSubstr("no longer watches it")));
    sender.reset();
    EXPECT_EQ(processes.strangers.size(), 1U) << "It goes on.";
    processes.endOrphans();
}

} // namespace
} // namespace orvel
