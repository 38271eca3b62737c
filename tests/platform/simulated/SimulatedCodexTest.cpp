#include "Orvel/platform/simulated/SimulatedCodex.h"

#include "samples/CodexFolder.h"
#include "samples/WebSocketClient.h"

#include <array>

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

    // What the server has said since the last look, as its methods, or "error" and "result".
    std::vector<std::string> said(ChildProcess& child) {
        std::array<char, 65'536> bytes{};
        while (true) {
            const auto got = child.read(bytes);
            if (got.kind != PipeTransfer::Kind::moved) break;
            if (const auto answer = client.receive({bytes.data(), got.count}); !answer.empty())
                child.write(answer);
        }
        std::vector<std::string> lines;
        for (const auto& message : client.messages)
            lines.push_back(message.value("method", message.contains("error") ? "error" : "result"));
        client.messages.clear();
        return lines;
    }

    CodexFolder files;
    SimulatedLoop loop;
    SimulatedProcesses processes{loop};
    SimulatedCodex codex{processes, loop, program, files.folder.path()};
    WebSocketClient client;
};

} // namespace

TEST_F(SimulatedCodexTest, PerformsAQueuedTurnInVirtualTime) {
    codex.manner.turnMilliseconds = 3'000'000;
    const auto server = proxy();
    EXPECT_THAT(said(*server), testing::Contains("result").Times(2));
    const auto tool = queue("M");
    loop.runFor(milliseconds(99));
    EXPECT_FALSE(tool->exitStatus());
    loop.runFor(milliseconds(1));
    EXPECT_EQ(tool->exitStatus(), 0);
    EXPECT_THAT(said(*server), testing::Contains("turn/started"));
    loop.runFor(seconds(2'990));
    EXPECT_THAT(files.outcome(), testing::EndsWith("user: M [busy]"));
    EXPECT_TRUE(said(*server).empty());
    loop.runFor(seconds(10));
    EXPECT_THAT(files.outcome(), testing::EndsWith(files.reply("M")));
    EXPECT_THAT(said(*server), testing::Contains("turn/completed"));

    server->closePipes();
    loop.runFor(milliseconds(1));
    EXPECT_EQ(server->exitStatus(), 0);
    EXPECT_TRUE(codex.complaints().empty());
}

TEST_F(SimulatedCodexTest, LetsAnotherProgramWriteTheThread) {
    codex.holdAsAnother(plain);
    const auto server = proxy();
    EXPECT_THAT(said(*server), testing::Contains("error"));
    const auto first = queue("M");
    loop.runFor(milliseconds(100));
    const auto second = queue("N");
    EXPECT_THAT(files.outcome(), testing::EndsWith("user: M [busy]"));
    loop.runFor(seconds(2));
    EXPECT_THAT(files.outcome(), testing::EndsWith(files.reply("M") + " | user: N [busy]"));
    codex.letGo(plain);
    EXPECT_THAT(files.outcome(), testing::EndsWith(files.reply("N")));
    loop.runFor(seconds(5));
    const auto third = proxy();
    client = {};
    EXPECT_THAT(said(*third), testing::Not(testing::Contains("error")));
}

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

    const struct {
        std::vector<std::string> arguments;
        int status;
    } refused[] = {{{"queue", "--thread", CodexFolder::unknown, "--message", "M"}, 1},
                   {{"queue", "--thread", plain, "--message", "-M"}, 2},
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
    EXPECT_TRUE(said(*server).empty());
}
