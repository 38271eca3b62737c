// What the command line says about a file of relay records.

#include "cli/CommandLineRun.h"

#include <nlohmann/json.hpp>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;

namespace {

json conversation(const std::string& agent, const std::string& id, const std::string& title) {
    return {{"agent", agent},
            {"sessionID", id},
            {"title", title},
            {"transcriptPath", "/" + id},
            {"modifiedAt", 1}};
}

json transfer(const std::string& id, const std::string& status) {
    json made{{"id", id},        {"pairID", "P1"},      {"source", "codex"},
              {"payload", "go"}, {"instruction", "go"}, {"createdAt", 6'091'200},
              {"status", status}};
    if (status == "received") made["receivedMessageID"] = "m";
    return made;
}

// A chain of three with one transfer on its way.
json records() {
    const auto one = conversation("claude", "1", "Ask"), two = conversation("codex", "2", "Do\n it"),
               three = conversation("claude", "3", "Look");
    const json context{{"frozenLabels", json::object()}, {"usedLabels", json::array()}};
    return {{"pairs",
             {{{"id", "P1"}, {"codex", two}, {"claude", one}},
              {{"id", "P2"}, {"codex", two}, {"claude", three}}}},
            {"transfers", {transfer("T1", "received"), transfer("T2", "awaitingReceipt")}},
            {"links",
             {{{"id", "L"},
               {"conversations", {one, two, three}},
               {"pairIDs", {"P1", "P2"}},
               {"speakerContext", context},
               {"sourceNotes", json::object()}}}}};
}

} // namespace

TEST_F(CommandLine, TellsWhatRelayRecordsHold) {
    const auto file = home.write("relay-state.json", records().dump());
    const auto result = run({"relay", "check", file});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "Pairs           2 active, 0 closed\n"
                          "Links           1 active, 0 closed\n"
                          "Transfers       1 pending, 1 received\n"
                          "First messages  0 pending, 0 bound\n"
                          "Positions       0 checkpoints, 0 incoming starts\n"
                          "Drafts          0\n"
                          "Pending  Codex to Claude  12 Mar 2001  T2\n"
                          "Link  Ask ↔ Do␊ it ↔ Look  L\n"
                          "All rules of the records hold.\n");
}

TEST_F(CommandLine, NamesTheRulesThatRelayRecordsBreak) {
    auto broken = records();
    broken["transfers"].push_back(transfer("T3", "awaitingReceipt"));
    const auto file = home.write("relay-state.json", broken.dump());
    const auto result = run({"relay", "check", file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "The records break 1 rule.\n");
    EXPECT_THAT(
        result.out,
        HasSubstr("\nTransfer T3 is pending while another one is pending in the same pair or link.\n"));

    const auto again = run({"relay", "check", "--json", file});
    EXPECT_EQ(again.status, 0);
    const auto written = json::parse(again.out);
    for (const auto& [key, value] : broken.items()) EXPECT_EQ(written.at(key), value) << key;
    EXPECT_EQ(written.size(), 7U);
    EXPECT_EQ(contentsOf(file), broken.dump());
}
