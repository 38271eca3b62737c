#include "samples/SampleCodexServer.h"

#include "samples/CodexFolder.h"
#include "samples/WebSocketClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace orvel;
using std::chrono::milliseconds;

namespace {

// A connection and its client, on a clock of its own.
struct Connection {
    explicit Connection(const SampleCodexHome& home, const SampleCodexManner& manner = {})
        : server(home, manner) {}

    void send(std::string_view bytes) {
        for (std::string answer = client.receive(server.receive(bytes, now)); !answer.empty();)
            answer = client.receive(server.receive(answer, now));
    }

    void passFor(milliseconds span) {
        const auto end = now.uptime + span;
        while (server.nextPass() && *server.nextPass() <= end) {
            now.unixMilliseconds += (*server.nextPass() - now.uptime).count();
            now.uptime = *server.nextPass();
            client.receive(server.pass(now));
        }
        now.unixMilliseconds += (end - now.uptime).count();
        now.uptime = end;
    }

    nlohmann::json answer(int id) const {
        for (const auto& message : client.messages)
            if (message.value("id", -1) == id && !message.contains("method")) return message;
        return nullptr;
    }
    nlohmann::json ask(int id, std::string_view method, nlohmann::json params) {
        send(requestText(id, method, std::move(params)));
        return answer(id);
    }

    // The notifications of turns, as "method status".
    std::vector<std::string> turns() const {
        std::vector<std::string> lines;
        for (const auto& message : client.messages)
            if (const auto method = message.value("method", ""); method.starts_with("turn/"))
                lines.push_back(method + ' ' + message["params"]["turn"].value("status", ""));
        return lines;
    }

    SampleCodexServer server;
    WebSocketClient client;
    SampleMoment now{milliseconds(5), CodexFolder::moment};
};

std::string statusOf(const nlohmann::json& answer) {
    return answer["result"]["thread"]["status"]["type"];
}

const std::string plain = CodexFolder::plain;

} // namespace

TEST(SampleCodexServer, MakesTheFirstConnectionTheWriterOfAnIdleThread) {
    const CodexFolder files;
    Connection first(files.home), second(files.home);
    first.send(connecting(plain));
    EXPECT_EQ(first.answer(2)["result"]["thread"]["id"], plain);
    EXPECT_EQ(statusOf(first.answer(2)), "idle");
    EXPECT_FALSE(first.server.complaint());

    second.send(connecting(plain));
    EXPECT_EQ(
        second.answer(2)["error"],
        (nlohmann::json{{"code", -32600}, {"message", "thread " + plain + " already has an active writer"}}));
    EXPECT_EQ(statusOf(second.ask(11, "thread/read", {{"threadId", plain}})), "idle");
    first.server.end(first.now);
    EXPECT_EQ(statusOf(second.ask(12, "thread/read", {{"threadId", plain}})), "notLoaded");
    EXPECT_EQ(statusOf(second.ask(13, "thread/resume", {{"threadId", plain}})), "idle");
}

TEST(SampleCodexServer, RemembersAFailedTurnForAMinute) {
    const CodexFolder files;
    Connection connection(files.home, {.turnMilliseconds = 100, .turnsFail = true});
    connection.send(connecting(plain));
    files.home.queue(plain, "M", connection.now.unixMilliseconds, false);
    connection.passFor(milliseconds(200));
    EXPECT_THAT(connection.turns(), testing::ElementsAre("turn/started inProgress", "turn/completed failed"));
    EXPECT_THAT(files.outcome(), testing::EndsWith("user: M"));
    EXPECT_EQ(statusOf(connection.ask(11, "thread/read", {{"threadId", plain}})), "systemError");
    connection.passFor(milliseconds(61'000));
    EXPECT_EQ(statusOf(connection.ask(12, "thread/read", {{"threadId", plain}})), "idle");
}

TEST(SampleCodexServer, RefusesWhatItDoesNotKnow) {
    const CodexFolder files;
    Connection connection(files.home);
    connection.send(upgradeHead);
    EXPECT_EQ(connection.ask(7, "thread/read", {{"threadId", plain}})["error"]["message"], "Not initialized");
    connection.send(requestText(1, "initialize", {{"clientInfo", {{"name", "test"}}}}) +
                    clientText(R"({"method":"initialized","params":{}})"));
    const struct {
        const char* method;
        nlohmann::json params;
    } cases[] = {
        {"thread/read", {{"threadId", CodexFolder::unknown}}},
        {"thread/resume", {{"threadId", "no identifier"}}},
        {"thread/archive", {{"threadId", plain}}},
        {"thread/turns/list", {{"threadId", plain}, {"cursor", "elsewhere"}}},
        {"thread/turns/list", {{"threadId", plain}, {"limit", "many"}}},
        {"initialize", {{"clientInfo", {{"name", "test"}}}}},
    };
    int id = 11;
    for (const auto& [method, params] : cases) {
        const auto answer = connection.ask(id++, method, params);
        EXPECT_EQ(answer["error"]["code"], -32600) << method << params;
        EXPECT_FALSE(answer.contains("result"));
    }
    EXPECT_FALSE(connection.server.complaint());
    connection.send(clientText("[]"));
    EXPECT_EQ(connection.server.complaint(), "a text that is no JSON object");
}
