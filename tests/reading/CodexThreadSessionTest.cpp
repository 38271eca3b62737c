// Connecting to Codex's server, asking it, and leaving it, against a server that may do anything.

#include "Orvel/reading/JsonMessage.h"
#include "reading/DeliveryFixture.h"

#include <vector>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

// At what stage a connection ended.
const auto upgradeStage = " (connection stage: HTTP Upgrade)"s;
const auto initializeStage = " (connection stage: initialize)"s;
const auto resumeStage = " (connection stage: initialized / thread-resume)"s;

const auto notIdle =
    "other: Couldn't verify that the Codex conversation is idle. Try again after the reply finishes."s +
    resumeStage;

const auto lastTurnFailed =
    "other: Couldn't verify that the Codex conversation is idle. Try again after the reply finishes. Its "
    "last turn failed; the next message in Codex itself clears that."s +
    resumeStage;

class CodexThreadSessionTest : public DeliveryTest {
  protected:
    std::string connect(const std::string& thread = Server::thread) {
        return run(CodexThreadLoader::connect(loop, processes, server.executable, thread)).words;
    }

    /// The answer to a request, as JSON, or the failure's words.
    std::string ask(CodexThreadSession& session, const std::string& method, Json params) {
        const auto outcome = run(session.request(method, params.dump(), loop.uptime() + 20s));
        return outcome.value ? simdjson::minify((*outcome.value)->object()) : outcome.words;
    }
};

TEST_F(CodexThreadSessionTest, IntroducesItselfAndResumesAnIdleConversation) {
    for (const std::size_t most : {std::size_t{1}, std::size_t{7}, std::string::npos}) {
        SCOPED_TRACE(most);
        processes.mostBytesPerTransfer = most;
        processes.pipeCapacity = most == 7 ? 50 : 65'536;
        server.texts.clear();
        const auto session = connected();
        ASSERT_TRUE(session);
        EXPECT_EQ(
            server.texts,
            (std::vector<std::string>{
                R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"orvel","title":"Orvel","version":"0.1"}}})",
                R"({"method":"initialized","params":{}})",
                R"({"id":2,"method":"thread/resume","params":{"threadId":"01a1fd20-9312-76b3-85b8-a86c82e71d1c","excludeTurns":true}})"}));
        EXPECT_EQ(server.wrongFrames, 0);
        EXPECT_EQ(processes.running(), 1);
    }
    EXPECT_EQ(processes.running(), 0); // The session is gone.

    const auto key = server.head.find("Sec-WebSocket-Key: ") + 19;
    EXPECT_EQ(server.head.replace(key, 24, "KEY"),
              "GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
              "Sec-WebSocket-Key: KEY\r\nSec-WebSocket-Version: 13\r\n\r\n");
}

TEST_F(CodexThreadSessionTest, StartsTheServerWithItsOwnFolderFirstInThePath) {
    EXPECT_EQ(connect(), "done");
    processes.environment["PATH"] = "/home/sam/bin:/bin";
    EXPECT_EQ(connect(), "done");
    for (const auto* path : {"/tools/bin:/usr/bin:/bin", "/tools/bin:/home/sam/bin:/bin"}) {
        EXPECT_EQ(processes.launches.front(),
                  (ChildLaunch{server.executable, {"app-server", "proxy"}, {{"PATH", path}}, true}));
        processes.launches.pop_front();
    }
}

TEST_F(CodexThreadSessionTest, StartsNothingForWhatIsNoConversation) {
    EXPECT_EQ(connect("not-a-uuid"), invalid);
    EXPECT_TRUE(processes.launches.empty());
}

TEST_F(CodexThreadSessionTest, PassesALaunchFailureOnAndNamesTroubleWithPipes) {
    processes.beforeStep = [](std::string_view) {
        throw ProcessError(ProcessError::Case::launchFailed, "No such file.");
    };
    EXPECT_EQ(connect(), "launchFailed: No such file.");
    processes.beforeStep = [](std::string_view) {
        throw ProcessError(ProcessError::Case::pipesFailed, "Too many open files.");
    };
    EXPECT_EQ(connect(), "other: Couldn't safely configure Codex input/output pipes.");
}

TEST_F(CodexThreadSessionTest, EndsAConnectionThatDoesNotGoAsItShould) {
    const auto head = [](std::string text) { return [text](const std::string&) { return text; }; };
    const auto answers = [&](const char* method, Server::Answer answer) {
        return [=](Server& script) { script.answers[method] = answer; };
    };
    const auto says = [&](const char* method, const std::string& message) {
        return answers(method, Server::bytes(serverFrame(1, message)));
    };
    const auto thread = [&](Json result) { return answers("thread/resume", Server::result(result)); };
    const auto resumed = [&](const char* id, Json status) {
        return thread({{"thread", {{"id", id}, {"status", std::move(status)}}}});
    };
    const auto activeWriter = [&](int code, const std::string& id) {
        return answers("thread/resume",
                       Server::error(code, "thread " + id + " already has an active writer"));
    };
    const auto refused = [](const std::string& reason) {
        return "invalid: Codex could not open this conversation. It may have been archived or deleted there. "
               "Codex says: “" +
               reason + "”";
    };
    const Json idle{{"type", "idle"}}, active{{"type", "active"}}, failed{{"type", "systemError"}};
    const std::tuple<const char*, std::function<void(Server&)>, std::string> cases[] = {
        {"an answer that is no upgrade",
         [&](Server& script) { script.upgrade = head("HTTP/1.1 404\r\n\r\n"); }, invalid + upgradeStage},
        {"a head without end", [&](Server& script) { script.upgrade = head(std::string(65'537, 'x')); },
         invalid + upgradeStage},
        {"a head that is not all there", [&](Server& script) { script.upgrade = head("HTTP/1.1 101\r\n"); },
         timeout + upgradeStage},
        {"no head", [&](Server& script) { script.delays["upgrade"] = 21s; }, timeout + upgradeStage},
        {"a frame too large behind the head",
         [](Server& script) {
             script.upgrade = [plain = script.upgrade](const std::string& key) {
                 return plain(key) + serverFrameHead(1, 8'388'609);
             };
         },
         invalid + initializeStage},

        {"a server that reads nothing", [&](Server&) { processes.pipeCapacity = 0; }, timeout + upgradeStage},
        {"no answer", answers("initialize", Server::bytes("")), timeout + initializeStage},
        {"a binary frame", answers("initialize", Server::bytes(serverFrame(2, "{}"))),
         invalid + initializeStage},
        {"no JSON", says("initialize", "{"), "other: Codex sent a text that is not JSON." + initializeStage},
        {"a list", says("initialize", "[]"), invalid + initializeStage},
        {"an error", answers("initialize", Server::error(-32600, "no")), invalid + initializeStage},
        {"an error that is null", says("initialize", R"({"id":1,"error":null,"result":{}})"),
         invalid + initializeStage},
        {"no result", says("initialize", R"({"id":1})"), invalid + initializeStage},
        {"an identifier that is a text", says("initialize", R"({"id":"1","result":{}})"),
         timeout + initializeStage},
        {"another identifier", says("initialize", R"({"id":3,"result":{}})"), timeout + initializeStage},
        {"a request with the same identifier", says("initialize", R"({"id":1,"method":"x","result":{}})"),
         timeout + initializeStage},
        {"a close", answers("initialize", Server::bytes(serverFrame(8, ""))), disconnected + initializeStage},

        {"another writer", activeWriter(-32600, Server::thread),
         "activeWriter: This Codex conversation is open through another connection and could not be loaded. "
         "Nothing was sent." +
             resumeStage},
        {"another writer of another conversation", activeWriter(-32600, "x"),
         refused("thread x already has an active writer") + resumeStage},
        {"an archived conversation", answers("thread/resume", Server::error(-32600, "no such thread")),
         refused("no such thread") + resumeStage},
        {"a lecture", answers("thread/resume", Server::error(-32600, std::string(301, 'x'))),
         invalid + resumeStage},
        {"another writer by another code", activeWriter(-32601, Server::thread), invalid + resumeStage},
        {"no thread", thread(Json::object()), notIdle},
        {"another thread", resumed("other", idle), notIdle},
        {"no status", thread({{"thread", {{"id", Server::thread}}}}), notIdle},
        {"a busy thread", resumed(Server::thread, active), notIdle},
        {"a thread after a failed turn", resumed(Server::thread, failed), lastTurnFailed},
    };
    for (const auto& [name, change, outcome] : cases) {
        SCOPED_TRACE(name);
        Server changed(processes);
        processes.pipeCapacity = 65'536;
        change(changed);
        std::vector<std::string> endings;
        processes.beforeStep = [&](std::string_view step) {
            if (step == "terminate" || step == "kill") endings.emplace_back(step);
        };
        const auto began = loop.uptime();
        EXPECT_EQ(connect(), outcome);
        EXPECT_LE(loop.uptime() - began, 22s);
        EXPECT_EQ(endings, std::vector<std::string>{"terminate"});
        EXPECT_EQ(processes.running(), 0);
    }
}

TEST_F(CodexThreadSessionTest, HasTwentySecondsToConnectAndNotOneMoment) {
    server.delays = {{"upgrade", 10s}, {"initialize", 6s}, {"thread/resume", 4s - 1ns}};
    EXPECT_EQ(connect(), "done");
    server.delays["thread/resume"] = 4s;
    EXPECT_EQ(connect(), timeout + resumeStage);
    EXPECT_EQ(processes.running(), 0);
}

TEST_F(CodexThreadSessionTest, PassesOverWhatTheServerSaysUnasked) {
    const auto noise = Server::frame({{"method", "warning"}, {"params", Json::object()}}) +
                       Server::frame({{"id", 2}, {"method", "approve"}, {"params", Json::object()}}) +
                       Server::frame({{"id", 11}, {"method", "approve"}, {"params", Json::object()}}) +
                       serverFrame(9, "are you there") + serverFrame(10, "") + Server::frame(Json::object());
    server.upgrade = [noise, plain = server.upgrade](const std::string& key) { return plain(key) + noise; };
    server.answers["thread/resume"] = [noise, plain = server.answers["thread/resume"]](const Json& request) {
        return noise + plain(request);
    };
    const auto session = connected();
    ASSERT_TRUE(session);
    server.answers["count"] = [&](const Json& request) {
        return noise + Server::result({{"asked", request.at("id")}})(request);
    };
    EXPECT_EQ(ask(*session, "count", Json::object()), R"({"asked":11})");
    EXPECT_EQ(ask(*session, "count", Json::object()), R"({"asked":12})");
    EXPECT_EQ(server.pongs, std::vector<std::string>(4, "are you there"));
}

TEST_F(CodexThreadSessionTest, AsksWithTheParametersAndGivesTheResultWhateverItsSize) {
    const auto session = connected();
    server.answers["echo"] = [](const Json& request) {
        return Server::result({{"said", request.at("params")}})(request);
    };
    EXPECT_EQ(ask(*session, "echo", {{"text", "\"日本\n"}}), R"({"said":{"text":"\"日本\n"}})");
    EXPECT_EQ(server.texts.back(), R"({"id":11,"method":"echo","params":{"text":"\"日本\n"}})");
    const std::string large(200'000, 'x'); // More than a pipe holds, and parsed in the background.
    EXPECT_EQ(ask(*session, "echo", {{"text", large}}), R"({"said":{"text":")" + large + "\"}}");
    EXPECT_EQ(ask(*session, "unknown", Json::object()), timeout);
}

TEST_F(CodexThreadSessionTest, KillsAServerThatDoesNotEndWithinASecond) {
    for (const bool ignores : {false, true}) {
        server.ignoresTermination = ignores;
        const auto session = connected();
        std::vector<std::string> steps;
        processes.beforeStep = [&](std::string_view step) {
            if (step != "exitStatus") steps.emplace_back(step);
        };
        const auto began = loop.uptime();
        EXPECT_EQ(run(session->close()), "done");
        EXPECT_EQ(loop.uptime() - began, ignores ? 1s : 10ms);
        EXPECT_EQ(processes.running(), 0);
        EXPECT_EQ(run(session->close()), "done");
        EXPECT_EQ(steps, ignores ? (std::vector<std::string>{"terminate", "kill"})
                                 : std::vector<std::string>{"terminate"});
        processes.beforeStep = nullptr;
        EXPECT_EQ(run(session->waitForTurnCompletion(1h, nullptr)), disconnected);
    }
}

TEST_F(CodexThreadSessionTest, LeavesNoChildWhereverTheExchangeEnds) {
    const auto wholeUse = [](MainLoop& main, Processes& all) -> Task<void> {
        const auto session =
            co_await CodexThreadLoader::connect(main, all, Server::executable, Server::thread);
        co_await session->request("initialize", "{}", main.uptime() + 20s);
        co_await session->close();
    };
    for (const auto end : {End::childDies, End::hangsUp, End::isGivenUp})
        EXPECT_GT(endAtEveryStep<bool>(end, [&] { return yes(wholeUse(loop, processes)); }), 15);
}

} // namespace
} // namespace orvel
