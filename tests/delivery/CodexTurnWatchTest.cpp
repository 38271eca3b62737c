// Watching a turn of a conversation until its reply is there, an hour at most.

#include "reading/DeliveryFixture.h"

#include <vector>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Duration = MainLoop::Duration;

const std::string turnFailed =
    "other: The Codex reply failed or was interrupted. Check the conversation and delivery records.";

Json turn(const char* method, const char* id, Json status = nullptr, const char* thread = Server::thread) {
    return {{"method", method},
            {"params", {{"threadId", thread}, {"turn", {{"id", id}, {"status", status}}}}}};
}
Json started(const char* id, const char* thread = Server::thread) {
    return turn("turn/started", id, "inProgress", thread);
}
Json completed(const char* id, Json status = "completed", const char* thread = Server::thread) {
    return turn("turn/completed", id, status, thread);
}

/// What the server says at a moment after the watch began.
struct Said {
    Duration at;
    Json message;
};

class CodexTurnWatchTest : public DeliveryTest {
  protected:
    Task<bool> isConfirmed() {
        ++asked;
        if (checkTime > 0s) co_await loop.sleep(checkTime);
        co_return loop.uptime() >= confirmedFrom;
    }

    int asked = 0;
    Duration checkTime{0}, confirmedFrom{0};
};

TEST_F(CodexTurnWatchTest, EndsWithTheTurnThatBeganMeanwhile) {
    constexpr auto never = 100h;
    const Json noObject = {{"method", "turn/completed"}, {"params", "x"}};
    const Json noMethod = {{"params", started("a")["params"]}};
    Json noTurn = completed("a"), idNumber = completed("a"), noThread = completed("a");
    noTurn["params"]["turn"] = "a";
    idNumber["params"]["turn"]["id"] = 1;
    noThread["params"].erase("threadId");
    const Said start{1s, started("a")};
    const std::vector<Said> wholeTurn{start, {9s, completed("a")}};
    const std::vector<Said> failedTurn{start, {2s, completed("a", "failed")}};
    const std::vector<Said> failedThenAnother{
        start, {2s, completed("a", "failed")}, {3s, started("b")}, {4s, completed("b")}};
    const std::vector<Said> turnThenAnother{start, {2s, completed("a")}, {2100ms, started("b")}};
    const std::vector<Said> foreignTurn{{1s, started("a", "other")},
                                        {2s, completed("a", "completed", "other")}};
    const struct {
        const char* name;
        std::vector<Said> said;
        std::string outcome;
        Duration end;
        std::optional<Duration> confirmed = {}; ///< From when the check, if there is one, answers true.
        int asked = 0;
        Duration limit = 1h;
    } cases[] = {
        {"a turn", wholeTurn, "done", 9s},
        {"a turn just before the end", {start, {1h - 1ns, completed("a")}}, "done", 1h - 1ns},
        {"a turn at the end", {start, {1h, completed("a")}}, timeout, 1h},
        {"silence", {}, timeout, 1h},
        {"no time", {}, timeout, 0s, {}, 0, 0s},
        {"less than no time", {}, timeout, 0s, {}, 0, -5s},
        {"a turn that had begun before", {{9s, completed("a")}}, timeout, 1h},
        {"another turn", {start, {9s, completed("b")}}, timeout, 1h},
        {"a turn of another conversation", foreignTurn, timeout, 1h},
        {"the end of one of two", {start, {2s, started("b")}, {3s, completed("b")}}, "done", 3s},
        {"a failed turn", failedTurn, turnFailed, 2s},
        {"an interrupted turn", {start, {2s, completed("a", "interrupted")}}, turnFailed, 2s},
        {"a turn without a status", {start, {2s, completed("a", nullptr)}}, turnFailed, 2s},
        {"wrong shapes",
         {start,
          {2s, noObject},
          {2s, noMethod},
          {2s, noTurn},
          {2s, idNumber},
          {2s, noThread},
          {2s, Json::object()},
          {3s, completed("a")}},
         "done",
         3s},

        {"a reply that is there", wholeTurn, "done", 9s, 0s, 1},
        {"a reply that comes soon", wholeTurn, "done", 9750ms, 9600ms, 4},
        {"a reply of another message, then ours", wholeTurn, "done", 100s, 100s, 365},
        {"a reply that never comes", wholeTurn, timeout, 10s, never, 5, 10s},
        {"no turn, but a reply", {}, timeout, 1h, 0s, 0},
        {"our turn failed", failedTurn, turnFailed, 2s, 0s, 1},
        {"another's turn failed before ours", failedThenAnother, "done", 4s, 4s, 2},
        {"another's turn failed", failedTurn, timeout, 1h, never, 1},
        {"something is said while the reply is awaited", turnThenAnother, "done", 2100ms, 2100ms, 2},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const auto session = connected();
        ASSERT_TRUE(session);
        const auto began = loop.uptime();
        asked = 0;
        CodexThreadSession::CompletionCheck check;
        if (each.confirmed) {
            confirmedFrom = began + *each.confirmed;
            check = [this] { return isConfirmed(); };
        }
        std::vector<std::unique_ptr<Timer>> sayings;
        for (const auto& said : each.said)
            sayings.push_back(loop.after(said.at, [&] { server.say(said.message); }));
        Duration ended{0};
        const auto watch = [](CodexThreadSession& watched, Duration limit,
                              CodexThreadSession::CompletionCheck confirmed, MainLoop& main,
                              Duration& end) -> Task<void> {
            std::exception_ptr failure;
            try {
                co_await watched.waitForTurnCompletion(limit, confirmed);
            } catch (...) {
                failure = std::current_exception();
            }
            end = main.uptime();
            if (failure) std::rethrow_exception(failure);
        };
        EXPECT_EQ(run(watch(*session, each.limit, check, loop, ended)), each.outcome);
        EXPECT_EQ(ended - began, each.end);
        EXPECT_EQ(asked, each.asked);
    }
    EXPECT_EQ(processes.running(), 0);
}

// A check takes its time, and the next one comes a quarter of a second behind it.
TEST_F(CodexTurnWatchTest, WaitsForACheckThatTakesLong) {
    const auto session = connected();
    server.say(started("a"));
    server.say(completed("a"));
    checkTime = 2s;
    confirmedFrom = loop.uptime() + 6s;
    EXPECT_EQ(run(session->waitForTurnCompletion(1h, [this] { return isConfirmed(); })), "done");
    EXPECT_EQ(asked, 3);
    confirmedFrom = loop.uptime() + 3h;
    server.say(started("b"));
    server.say(completed("b"));
    EXPECT_EQ(run(session->waitForTurnCompletion(3s, [this] { return isConfirmed(); })), timeout);
    EXPECT_EQ(asked, 5);
}

// However long it talks, the loop serves others in between.
TEST_F(CodexTurnWatchTest, LeavesTheLoopToOthersWhileTheServerTalks) {
    const auto session = connected();
    std::string talk;
    for (int i = 0; i < 2'000; ++i) talk += Server::frame({{"method", "x"}});
    server.sayBytes(talk + Server::frame(started("a")) + Server::frame(completed("a")));
    int turns = 0;
    std::function<void()> count = [&] {
        if (++turns < 500) loop.post(count);
    };
    loop.post(count);
    bool wasServed = false;
    CodexThreadSession::CompletionCheck check = [&]() -> Task<bool> {
        wasServed = turns == 500;
        return isConfirmed();
    };
    EXPECT_EQ(run(session->waitForTurnCompletion(1h, check)), "done");
    EXPECT_TRUE(wasServed);
}

} // namespace
} // namespace orvel
