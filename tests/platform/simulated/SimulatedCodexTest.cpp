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
