#include "CommandLineRun.h"

#include <algorithm>
#include <filesystem>

#include <gmock/gmock.h>
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

TEST_F(CommandLine, TheSampleShowsTheMainJobStepByStep) {
    const auto result = run({"--sample"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, notice);
    std::size_t at = 0;
    for (const auto* step :
         {"1. Find the conversations", "2. Open one", "messages. It will go to ", "3. Choose where",
          "4. Write an instruction", "5. See the exact text\n", "6. Copy it\n", "   Copied. Destination: "}) {
        const auto found = result.out.find(step, at);
        ASSERT_NE(found, std::string::npos) << step << "\n" << result.out;
        at = found;
    }

    // What the steps say of the text is true of the text.
    const auto begin =
        result.out.find("5. See the exact text\n") + std::string("5. See the exact text\n").size();
    const auto text = result.out.substr(begin, result.out.find("\n\n6. ") - begin);
    EXPECT_THAT(result.out, HasSubstr("   " + std::to_string(text.size()) + " bytes are on"));
    EXPECT_THAT(text, HasSubstr("\n\nme: "));
}

TEST_F(CommandLine, ASampleThatCannotBeMadeIsAFailure) {
    const ScopedVariable temporary("TMPDIR", home.path("missing"));
    const auto result = run({"list", "--sample", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(json::parse(result.out)["error"], "unexpected");
}
