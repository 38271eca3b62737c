#include "Orvel/platform/simulated/SimulatedCodex.h"

#include "samples/CodexFolder.h"
#include "samples/WebSocketClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orvel;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

const std::string program = "/opt/codex";
const std::string plain = CodexFolder::plain;

class SimulatedCodexTest : public testing::Test {
  protected:
    std::unique_ptr<ChildProcess> proxy() {
        auto child =
            processes.start({.executable = program, .arguments = {"app-server", "proxy"}, .hasPipes = true});
        child->write(connecting(plain));
        loop.runFor(milliseconds(10));
        return child;
    }

    std::unique_ptr<ChildProcess> queue(const std::string& message) {
        return processes.start(
            {.executable = program, .arguments = {"queue", "--thread", plain, "--message", message}});
    }

    CodexFolder files;
    SimulatedLoop loop;
    SimulatedProcesses processes{loop};
    SimulatedCodex codex{processes, loop, program, files.folder.path()};
};

} // namespace

TEST_F(SimulatedCodexTest, AKilledServerNeitherEndsItsTurnNorKeepsTheThread) {
    const auto server = proxy();
    const auto tool = queue("M");
    loop.runFor(milliseconds(500));
    processes.killAll();
    loop.run();
    EXPECT_THAT(files.outcome(), testing::EndsWith("user: M [busy]"));
    EXPECT_FALSE(files.home.hasWriter(files.thread()));
}

TEST_F(SimulatedCodexTest, DoesWithTheQueueCommandAsChosen) {
    const auto statusAndMessages = [&](bool stores, bool ends, int status) {
        codex.queueStores = stores;
        codex.queueEnds = ends;
        codex.queueStatus = status;
        const auto before = files.thread().turns.size();
        const auto tool = queue("M");
        loop.runFor(seconds(60));
        return std::pair(tool->exitStatus(), files.thread().turns.size() - before);
    };
    EXPECT_EQ(statusAndMessages(true, true, 0), std::pair(std::optional(0), std::size_t{1}));
    EXPECT_EQ(statusAndMessages(true, true, 1), std::pair(std::optional(1), std::size_t{1}));
    EXPECT_EQ(statusAndMessages(false, true, 1), std::pair(std::optional(1), std::size_t{0}));
    EXPECT_EQ(statusAndMessages(true, false, 0), std::pair(std::optional<int>(), std::size_t{1}));

    const std::pair<std::vector<std::string>, int> refused[] = {
        {{"queue", "--thread", CodexFolder::unknown, "--message", "M"}, 1},
        {{"queue", "--thread", plain, "--message", "-M"}, 2},
        {{"queue", "--thread", plain, "--message=-M"}, 0},
        {{"exec"}, 2}};
    codex.queueEnds = true;
    for (const auto& [arguments, status] : refused) {
        const auto tool = processes.start({.executable = program, .arguments = arguments});
        loop.runFor(seconds(1));
        EXPECT_EQ(tool->exitStatus(), status);
    }
    codex.hasServer = false;
    const auto server = proxy();
    EXPECT_EQ(server->exitStatus(), 1);
}

TEST_F(SimulatedCodexTest, BeginsAConversationAsChosen) {
    struct Case {
        const char* name;
        SimulatedCodexExec habits;
        bool turnsFail;
        std::optional<int> status;
        std::string says, recorded;
    };
    const std::string whole = "user: M | " + CodexFolder::reply("M");
    const Case cases[] = {{"as it should", {}, false, 0, "thread.started", whole},
                          {"no thread", {.prints = false}, false, 0, "turn.completed", whole},
                          {"nothing recorded", {.records = false}, false, 0, "thread.started", ""},
                          {"something else",
                           {.adds = "?"},
                           false,
                           0,
                           "thread.started",
                           "user: M? | " + CodexFolder::reply("M?")},
                          {"ends early", {.endsEarly = 7}, false, 7, "thread.started", "user: M [busy]"},
                          {"hangs", {.ends = false}, false, std::nullopt, "thread.started", "user: M [busy]"},
                          {"the turn fails", {}, true, 1, "turn.failed", "user: M"}};
    for (const auto& [name, habits, turnsFail, status, says, recorded] : cases) {
        SCOPED_TRACE(name);
        codex.exec = habits;
        codex.manner.turnsFail = turnsFail;
        const auto before = codex.begun().size();
        const auto tool =
            processes.start({.executable = program,
                             .arguments = {"exec", "--json", "--skip-git-repo-check", "-C", "/work", "-"},
                             .unattendedInput = "M"});
        loop.runFor(seconds(60));
        EXPECT_EQ(tool->exitStatus(), status);
        EXPECT_THAT(tool->said(10'000), testing::HasSubstr(says));
        ASSERT_EQ(codex.begun().size() - before, recorded.empty() ? 0U : 1U);
        if (recorded.empty()) continue;
        const auto thread = files.home.thread(codex.begun().back());
        ASSERT_TRUE(thread);
        EXPECT_EQ(thread->workingDirectory, "/work");
        EXPECT_EQ(outcomeOf(TranscriptReader::read(thread->path, Agent::codex)), recorded);
    }
}
