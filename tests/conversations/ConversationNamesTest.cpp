#include "OrvelCore/conversations/ConversationNames.h"

#include "OrvelCore/conversations/ConversationCatalog.h"
#include "TemporaryFolder.h"
#include "conversations/Outcome.h"

#include <string>

namespace orvel {
namespace {

std::string said(const std::string& text, const std::string& rest = {}) {
    return record(R"({"type":"user","sessionId":"s","message":{"content":")" + text + "\"}" + rest + "}");
}

std::string titled(const std::string& key, const std::string& title, const std::string& session = "s") {
    const auto type = key == "aiTitle" ? "ai-title" : "custom-title";
    return record(R"({"type":")" + std::string(type) + R"(",")" + key + R"(":")" + title +
                  R"(","sessionId":")" + session + "\"}");
}

std::string codexSaid(const std::string& text) {
    return record(R"({"type":"response_item","payload":{"type":"message","role":"user","content":")" + text +
                  "\"}}");
}

// "title | folder".
std::string namesIn(const std::string& path, Agent agent) {
    const auto names = ConversationNames::read(ConversationCatalog::reference(path, agent));
    return names.title.value_or("none") + " | " + names.folder.value_or("none");
}

TEST(ConversationNamesTest, AnIdentifierIsNoName) {
    for (const auto* text : {"Parser", "lark · 5b0d714f", "notes-2026-11-20", "5b0d714f-0000-4000-8000"})
        EXPECT_TRUE(isReadableName(text)) << text;
    for (const auto* text : {"", " ", "Untitled", "5b0d714f-0000-4000-8000-000000000002",
                             "rollout-2026-11-20T10-00-00-01a1fd20-0000-7000-8000-000000000001"})
        EXPECT_FALSE(isReadableName(text)) << text;
}

TEST(ConversationNamesTest, AreFoundInTheTranscript) {
    const TemporaryFolder folder;
    const std::string mode = record(R"({"type":"mode","sessionId":"s"})");
    const std::string meta = record(R"({"type":"session_meta","payload":{"id":"c","cwd":"/w"}})");
    const std::string fork =
        record(R"({"type":"session_meta","payload":{"id":"c","cwd":"/w","history_base":{"a":1}}})");
    const std::string long262144(ConversationNames::tailLimit, 'x');
    const std::tuple<const char*, Agent, std::string, std::string> cases[] = {
        {"the first own words", Agent::claude,
         mode + record(R"({"type":"assistant","sessionId":"s","message":{"content":"Hello"}})") +
             said("Why?") + said("And now?"),
         "Why? | none"},
        {"the first record with a folder", Agent::claude,
         mode + said("Why?", R"(,"cwd":"/w/lark")") + said("And now?", R"(,"cwd":"/elsewhere")"),
         "Why? | /w/lark"},
        {"nothing of a sidechain or of the program", Agent::claude,
         mode + said("aside", R"(,"isSidechain":true,"cwd":"/aside")") + said("meta", R"(,"isMeta":true)") +
             said("summary", R"(,"isCompactSummary":true)") + said("<system-reminder>x</system-reminder>") +
             said("own"),
         "own | none"},
        {"a title before words", Agent::claude, mode + said("Why?") + titled("customTitle", "Named"),
         "Named | none"},
        {"the latest title", Agent::claude,
         titled("customTitle", "First") + said("Why?") + titled("customTitle", "Second"), "Second | none"},
        {"the user's own before the agent's", Agent::claude,
         mode + titled("customTitle", "Mine") + titled("aiTitle", "Made"), "Mine | none"},
        {"the agent's where the user's is taken back", Agent::claude,
         mode + titled("customTitle", "Mine") + titled("aiTitle", "Made") + titled("customTitle", " "),
         "Made | none"},
        {"no other session's", Agent::claude, mode + titled("customTitle", "Other", "t") + said("Why?"),
         "Why? | none"},
        {"a title at the end of a long file", Agent::claude,
         mode + said("Why?") + record(long262144) + titled("customTitle", "Late"), "Late | none"},
        {"a title early in a long file", Agent::claude,
         mode + titled("customTitle", "Early") + said("Why?") + record(long262144), "Early | none"},
        {"words that come too late", Agent::claude,
         mode + record(std::string(ConversationNames::headLimit, 'x')) + said("Why?"), "none | none"},
        {"nothing", Agent::claude, mode, "none | none"},
        {"Codex", Agent::codex,
         meta + codexSaid("<environment_context>x</environment_context>") + codexSaid("Why?"), "Why? | /w"},
        {"a fork of Codex", Agent::codex, fork + codexSaid("Why?"), "Why? | /w"},
        {"Codex has no title records", Agent::codex, meta + codexSaid("Why?") + titled("customTitle", "No"),
         "Why? | /w"},
    };
    for (const auto& [name, agent, contents, names] : cases)
        EXPECT_EQ(namesIn(folder.write("t.jsonl", contents), agent), names) << name;
}

TEST(ConversationNamesTest, AreMissingWhereNobodyGaveThem) {
    const std::string id = "0123456789";
    const std::tuple<std::string, std::optional<std::string>, bool> cases[] = {
        {"Named", "/w/lark", false},
        {"Named", std::nullopt, true},
        {"lark · 01234567", "/w/lark", true},
        {"desk · 01234567", "/w/lark", true},
        {id, "/w/lark", true},
        {" ", "/w/lark", true},
        {"lark · 012", "/w/lark", false},
    };
    for (const auto& [title, folder, areMissing] : cases)
        EXPECT_EQ(ConversationNames::areMissing(
                      {.sessionID = id, .title = title, .transcriptPath = "/t", .workingDirectory = folder}),
                  areMissing)
            << title;
}

TEST(FirstWords, AreOneLineWithoutAttachments) {
    std::string many, kept;
    for (int i = 0; i < 40; ++i) many += "word\n";
    for (int i = 0; i < 16; ++i) kept += i == 0 ? "word" : " word";
    const std::pair<std::string, std::string> cases[] = {
        {"\n  Two \t words\r\nand more ", "Two words and more"},
        {"<image name=[Image #1] path=\"/p.png\">\n[添付あり: x]\n</image>\nlook", "look"},
        {many, kept + "…"},
        {std::string(500, 'x'), std::string(80, 'x') + "…"},
        {" \n", ""},
        {"[添付あり: x]", ""},
    };
    for (const auto& [text, title] : cases) EXPECT_EQ(firstWords(text), title);
}

} // namespace
} // namespace orvel
