#include "samples/SampleCodexServer.h"

#include "samples/CodexFolder.h"
#include "samples/WebSocketClient.h"

using namespace orvel;
using std::chrono::milliseconds;
using testing::HasSubstr;

namespace {

// A connection with a clock of its own. What the server sends is read as it is, since it masks nothing.
struct Connection : CodexFolder {
    std::string ask(std::string_view method, nlohmann::json params) {
        return server.receive(requestText(11, method, std::move(params)), now);
    }

    void passFor(milliseconds span) {
        now.unixMilliseconds += span.count();
        for (const auto end = now.uptime + span; now.uptime < end; now.uptime += milliseconds(50))
            server.pass(now);
    }

    SampleMoment now{milliseconds(5), moment};
    SampleCodexServer server{home, {.turnMilliseconds = 100, .turnsFail = true}};
};

} // namespace

TEST(SampleCodexServer, HasOneWriterAndRefusesWhatItDoesNotKnow) {
    Connection connection;
    auto& server = connection.server;
    const auto& now = connection.now;
    SampleCodexServer second(connection.home, {});
    EXPECT_THAT(server.receive(connecting(CodexFolder::plain), now), HasSubstr(R"("type":"idle")"));
    EXPECT_THAT(second.receive(connecting(CodexFolder::plain), now),
                HasSubstr("already has an active writer"));
    EXPECT_THAT(connection.ask("thread/read", {{"threadId", CodexFolder::unknown}}), HasSubstr("-32600"));
    EXPECT_THAT(connection.ask("thread/archive", {{"threadId", CodexFolder::plain}}), HasSubstr("-32600"));
    EXPECT_FALSE(server.complaint());
    server.receive(clientText("[]"), now);
    EXPECT_EQ(server.complaint(), "a text that is no JSON object");
}

TEST(SampleCodexServer, RemembersAFailedTurnForAMinute) {
    Connection connection;
    connection.server.receive(connecting(CodexFolder::plain), connection.now);
    connection.home.queue(CodexFolder::plain, "M", CodexFolder::moment, false);
    const auto status = [&] { return connection.ask("thread/read", {{"threadId", CodexFolder::plain}}); };
    connection.passFor(milliseconds(1'000));
    EXPECT_THAT(status(), HasSubstr(R"("type":"systemError")"));
    connection.passFor(milliseconds(61'000));
    EXPECT_THAT(status(), HasSubstr(R"("type":"idle")"));
}
