#include "Orvel/cli/TerminalText.h"
#include "cli/CommandLineRun.h"
#include "cli/RunningProgram.h"

#include <algorithm>
#include <filesystem>

#include <nlohmann/json.hpp>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;

namespace {

const std::string notice = "This is a sample: made-up conversations in a temporary folder.\n";

} // namespace

TEST_F(CommandLine, ASampleNeedsNoAgentAndLeavesNothingBehind) {
    const ScopedVariable temporary("TMPDIR", home.path("tmp"));
    const ScopedVariable codexHome("CODEX_HOME", home.path("codex"));
    std::filesystem::create_directory(home.path("tmp"));
    home.write("codex/sessions/mine.jsonl", R"({"type":"session_meta","payload":{"id":"mine"}})");

    const auto list = run({"list", "--sample", "--json"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.err, notice);
    const auto references = json::parse(list.out);
    const auto has = [&](std::string_view agent) {
        return std::any_of(references.begin(), references.end(),
                           [&](const json& reference) { return reference["agent"] == agent; });
    };
    EXPECT_TRUE(has("codex") && has("claude"));
    for (const auto& reference : references) {
        EXPECT_NE(reference["sessionID"], "mine");
        // The same conversations every time.
        const auto shown = run({"--sample", "show", reference["sessionID"], "--json"});
        EXPECT_EQ(json::parse(shown.out)["id"], reference["sessionID"]);
    }
    EXPECT_EQ(run({"recent", "--sample"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_empty(home.path("tmp")));
}

TEST_F(CommandLine, TheSampleShowsRelaysFromSendToReceiptInBothDirections) {
    const auto result = run({"--sample"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, notice);
    std::size_t at = 0;
    for (const auto* step : {"1. Find the conversations",
                             "2. Choose one with Claude",
                             "\n   From  “",
                             "\n   To    “",
                             "5. See the exact text\n",
                             "   Saved, ",
                             "\"status\": \"awaitingReceipt\"",
                             "\"retryable\": false",
                             "   Delivered: ",
                             "   Seen: ",
                             "   Codex has answered",
                             "   You, by way of Orvel\n",
                             "   Codex\n   │ This is the reply of Orvel's sample",
                             "9. Send the answer back",
                             "\n   │ codex: This is the reply of Orvel's sample",
                             "   Saved. ",
                             "   Seen: the message stands in Claude's own transcript",
                             "   You, by way of Orvel\n",
                             "   Claude\n   │ Thank you.",
                             "11. The same from Claude's own window",
                             "   │ /orvel ",
                             "   Claude never got the Return.",
                             "   Seen: the message stands in Codex's own transcript",
                             "12. What Orvel has kept",
                             "\"status\": \"received\"",
                             "\"status\": \"received\""}) {
        const auto found = result.out.find(step, at);
        ASSERT_NE(found, std::string::npos) << step << "\n" << result.out;
        at = found;
    }
    for (std::size_t begin = 0, end = 0; end != result.out.npos; begin = end + 1) {
        end = result.out.find('\n', begin);
        EXPECT_LE(columnCount(result.out.substr(begin, end - begin)), 100U);
    }

    // What was shown before is what stands in the transcript at the end.
    const auto quoteBehind = [&](const std::string& part, const std::string& heading) {
        auto begin = result.out.find(heading, result.out.find(part));
        std::string quote;
        for (begin = result.out.find('\n', begin) + 1; result.out.compare(begin, 4, "   │", 4) == 0;) {
            const auto end = result.out.find('\n', begin);
            quote += result.out.substr(begin, end - begin) + "\n";
            begin = end + 1;
        }
        return quote;
    };
    for (const auto& [sent, received] : {std::pair("5. See the exact text", "8. What the"),
                                         std::pair("9. Send the answer back", "10. What the")}) {
        const auto shown = quoteBehind(sent, sent);
        EXPECT_THAT(shown, HasSubstr("│ me: "));
        EXPECT_EQ(quoteBehind(received, "   You, by way of Orvel"), shown);
    }
}

TEST_F(CommandLine, ASampleThatIsBrokenOffLeavesNothingBehind) {
    const ScopedVariable temporary("TMPDIR", home.path("tmp"));
    std::filesystem::create_directory(home.path("tmp"));
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        RunningProgram program({"--sample"});
        ASSERT_TRUE(program.says("7. Watch"));
        EXPECT_FALSE(std::filesystem::is_empty(home.path("tmp")));
        program.signal(number);
        EXPECT_EQ(program.finish().status, 128 + number);
        EXPECT_TRUE(std::filesystem::is_empty(home.path("tmp")));
    }
}

TEST_F(CommandLine, ASampleThatCannotBeMadeIsAFailure) {
    const ScopedVariable temporary("TMPDIR", home.path("missing"));
    const auto result = run({"list", "--sample", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(json::parse(result.out)["error"], "unexpected");
}
