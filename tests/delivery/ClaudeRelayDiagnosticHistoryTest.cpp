// The history of attempts: its lines, its limit, and what has no way into it.

#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"

using namespace orvel;
using Stage = ClaudeRelayDiagnosticHistory::Stage;

const std::string title = "Claude transfer attempts (this app session, no content):\n";
constexpr const char* transfer = "abcdefab-1111-4111-8111-111111111111";
constexpr const char* attempt = "BBBBBBBB-2222-4222-8222-222222222222";

TEST(ClaudeRelayDiagnosticHistory, WritesAnAttemptAsOneLine) {
    ClaudeRelayDiagnosticHistory history;
    EXPECT_EQ(history.description().text(), title + "No records");
    history.begin(transfer, attempt, 100.0);
    EXPECT_EQ(history.description().text(),
              title + "transfer=ABCDEFAB-1111-4111-8111-111111111111 "
                      "attempt=BBBBBBBB-2222-4222-8222-222222222222 stage=launch "
                      "readiness_reads=0 elapsed_ms=0 route_same=Unread pages=Unread "
                      "code_pages=Unread front=Unread editors=Unread parent_depth=Unread "
                      "AX=No failure recorded result=In progress");
    history.stage(Stage::targetSnapshot);
    auto& current = *history.current();
    current.readinessReads = 3;
    current.routeMatches = true;
    current.pages = current.codePages = current.editors = 1;
    current.parents = 5;
    current.front = "claude";
    history.axFailure("AXValue", AXStatus::cannotComplete);
    history.stage(Stage::insertion); // Forgets the counts of the one before.
    EXPECT_FALSE(current.pages || current.editors || current.parents);
    history.stage(Stage::targetSnapshot);
    current.pages = 1;
    history.finish(false, true, 101.2345);
    EXPECT_EQ(history.current(), nullptr);
    EXPECT_EQ(history.description().text(),
              title + "transfer=ABCDEFAB-1111-4111-8111-111111111111 "
                      "attempt=BBBBBBBB-2222-4222-8222-222222222222 stage=targetSnapshot "
                      "readiness_reads=3 elapsed_ms=1234 route_same=true pages=1 code_pages=1 "
                      "front=claude editors=Unread parent_depth=Unread "
                      "AX=targetSnapshot:AXValue:-25204 "
                      "result=Stopped; retry before insertion allowed");
}

TEST(ClaudeRelayDiagnosticHistory, KeepsTheLastFailureUnderNamesThatItKnows) {
    ClaudeRelayDiagnosticHistory history;
    history.axFailure("AXRole", AXStatus::failure); // Nobody's.
    history.begin(transfer, attempt, 0);
    for (const auto& [attribute, status, expected] :
         {std::tuple{"AXRole", -25200, "launch:AXRole:-25200"},
          std::tuple{"AXRole", 0, "launch:AXRole:-25200"},
          std::tuple{"AXValue", -25205, "launch:AXRole:-25200"},
          std::tuple{"AXURL", -25212, "launch:AXRole:-25200"},
          std::tuple{"Secret words", -25211, "launch:other:-25211"},
          std::tuple{"AXHelp", -25202, "launch:AXHelp:-25202"},
          std::tuple{"AXEnabled", -25204, "launch:other:-25204"}}) {
        history.axFailure(attribute, static_cast<AXStatus>(status));
        EXPECT_EQ(history.current()->axFailure.value().text(), expected) << attribute << status;
    }
    history.begin("no UUID at all", attempt, 0);
    EXPECT_FALSE(history.current()->axFailure);
    EXPECT_EQ(history.current()->transferID.text(), "Unknown");
}

TEST(ClaudeRelayDiagnosticHistory, KeepsTheNewestEightAttempts) {
    ClaudeRelayDiagnosticHistory history;
    for (int i = 0; i < 9; ++i) {
        history.begin(transfer, attempt, 1000.0);
        history.current()->readinessReads = i;
        history.finish(i % 2 == 0, false, i == 1 ? 990.0 : 1000.0); // Once the clock goes back.
    }
    history.finish(true, false, 0); // There is none.
    ASSERT_EQ(history.finished().size(), 8U);
    EXPECT_EQ(history.finished().front().readinessReads, 1);
    EXPECT_EQ(history.finished().front().elapsedMilliseconds, 0);
    EXPECT_EQ(history.finished().front().outcome.view(), "Stopped; automatic retry not allowed");
    EXPECT_EQ(history.finished().back().outcome.view(), "Completed");
    history.begin(transfer, attempt, 0);
    history.begin(transfer, attempt, 0); // The one before is forgotten.
    EXPECT_EQ(history.finished().size(), 8U);
}
