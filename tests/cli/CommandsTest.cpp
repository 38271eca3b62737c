#include "OrvelCore/text/Digest.h"
#include "cli/CommandLineRun.h"
#include "samples/TranscriptWriter.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include <nlohmann/json.hpp>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string codexText(const std::string& id) {
    return CodexTranscript({.id = id})
        .ask("Why?")
        .answer("Because.\n")
        .ask("And now?")
        .answer("Done.")
        .text();
}

std::string claudeText(const std::string& id) {
    return ClaudeTranscript({.id = id}).ask("Why?").answer("Because.").text();
}

constexpr auto codexFile = ".codex/sessions/2026/01/02/rollout-c1.jsonl";
constexpr auto claudeFile = ".claude/projects/-home-robin/a1.jsonl";

std::vector<std::string> titlesIn(const RunResult& list) {
    std::vector<std::string> titles;
    for (const auto& reference : json::parse(list.out)) titles.push_back(reference.at("title"));
    return titles;
}

// Everything below a folder, with sizes and dates.
std::vector<std::string> stateOf(const std::string& folder) {
    std::vector<std::string> state;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        auto line =
            entry.path().string() + " " + std::to_string(entry.last_write_time().time_since_epoch().count());
        if (entry.is_regular_file()) line += " " + contentsOf(entry.path());
        state.push_back(line);
    }
    std::sort(state.begin(), state.end());
    return state;
}

} // namespace

TEST_F(CommandLine, ListsReferencesAsJson) {
    const auto codex = write(codexFile, codexText("c1"));
    const auto claude = write(claudeFile, claudeText("a1"));
    home.write(".codex/session_index.jsonl", R"({"id":"c1","thread_name":"Named"})");
    home.write(".config/Claude/claude-code-sessions/x/local_1.json",
               R"({"sessionId":"local_1","cliSessionId":"a1","cwd":"/desk","title":"On the desk"})");
    const auto codexReference = json{{"agent", "codex"},
                                     {"sessionID", "c1"},
                                     {"title", "Named"},
                                     {"transcriptPath", codex},
                                     {"workingDirectory", "/home/robin/code/lark"},
                                     {"modifiedAt", 6'091'200.0}};
    const auto claudeReference = json{{"agent", "claude"},
                                      {"sessionID", "a1"},
                                      {"title", "On the desk"},
                                      {"transcriptPath", claude},
                                      {"workingDirectory", "/desk"},
                                      {"modifiedAt", 6'091'200.0},
                                      {"desktopSessionID", "local_1"}};
    const std::pair<Words, json> cases[] = {
        {{"list", "--json"}, {claudeReference, codexReference}},
        {{"list", "--json", "--agent", "codex"}, json::array({codexReference})},
        {{"--json", "list", "--agent", "claude"}, json::array({claudeReference})},
    };
    for (const auto& [words, expected] : cases) {
        const auto result = run(words);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(json::parse(result.out), expected);
        EXPECT_TRUE(result.out.ends_with("]\n"));
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(CommandLine, LooksWhereOptionsAndEnvironmentSay) {
    write(".codex/sessions/r.jsonl", R"({"type":"session_meta","payload":{"id":"c","title":"home"}})");
    write("other/.codex/sessions/r.jsonl", R"({"type":"session_meta","payload":{"id":"c","title":"other"}})");
    write("codex/sessions/r.jsonl", R"({"type":"session_meta","payload":{"id":"c","title":"CODEX_HOME"}})");
    write("claude/projects/r.jsonl", R"({"sessionId":"a","customTitle":"CLAUDE_CONFIG_DIR"})");
    home.write("config/Claude/claude-code-sessions/local_1.json",
               R"({"sessionId":"local_1","cliSessionId":"a","title":"XDG_CONFIG_HOME"})");
    const auto recents = [&](const std::string& folder, const std::string& title) {
        home.write(folder + "/recent-conversations.json",
                   R"([{"source":"codex","title":")" + title + R"(","path":"/r.jsonl","lastUsed":1}])");
    };
    recents(".local/share/Orvel", "home");
    recents("other/.local/share/Orvel", "other");
    recents("data/Orvel", "XDG_DATA_HOME");
    recents("mine", "--data");

    using Variables = std::vector<std::pair<const char*, std::string>>;
    const std::tuple<Variables, Words, Words> cases[] = {
        {{}, {"list"}, {"home"}},
        {{}, {"list", "--home", home.path("other")}, {"other"}},
        {{{"CODEX_HOME", ""}}, {"list"}, {"home"}},
        {{{"CODEX_HOME", home.path("codex")}}, {"list"}, {"CODEX_HOME"}},
        {{{"CODEX_HOME", home.path("codex")}}, {"list", "--home", home.path("other")}, {"CODEX_HOME"}},
        {{{"CLAUDE_CONFIG_DIR", home.path("claude")}}, {"list", "--agent=claude"}, {"CLAUDE_CONFIG_DIR"}},
        {{{"CLAUDE_CONFIG_DIR", home.path("claude")}, {"XDG_CONFIG_HOME", home.path("config")}},
         {"list", "--agent=claude"},
         {"XDG_CONFIG_HOME"}},
        {{}, {"recent"}, {"home"}},
        {{{"XDG_DATA_HOME", home.path("data")}}, {"recent"}, {"XDG_DATA_HOME"}},
        {{{"XDG_DATA_HOME", "data"}}, {"recent"}, {"home"}}, // A relative one does not count.
        {{{"XDG_DATA_HOME", home.path("data")}}, {"recent", "--data", home.path("mine")}, {"--data"}},
    };
    for (const auto& [variables, words, titles] : cases) {
        std::vector<std::unique_ptr<ScopedVariable>> set;
        for (const auto& [name, value] : variables)
            set.push_back(std::make_unique<ScopedVariable>(name, value));
        auto withJson = words;
        withJson.push_back("--json");
        EXPECT_EQ(titlesIn(run(withJson)), titles) << testing::PrintToString(words);
    }
}

TEST_F(CommandLine, ShowsAConversationAsOneObject) {
    const auto file = home.write("t.jsonl", R"({"type":"session_meta","payload":{"id":"c9"}})"
                                            "\n"
                                            R"({"type":"response_item","payload":{"type":"message",)"
                                            R"("id":"m1","role":"user","content":"Wörk \u001b[1m"}})");
    const std::string text = "Wörk \x1b[1m";
    const auto message = json{{"id", "m1:" + sha256Hex({"user\n", text})}, {"role", "user"}, {"text", text}};
    const auto result = run({"show", file, "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(json::parse(result.out), (json{{"id", "c9"},
                                             {"source", "codex"},
                                             {"title", "t"},
                                             {"isBusy", false},
                                             {"hasAmbiguousBranches", false},
                                             {"messages", json::array({message})}}));
    EXPECT_EQ(result.err, "");

    // A name that is no UTF-8 is shown all the same.
    const auto strange = home.write("\xff.jsonl", codexText("c1"));
    EXPECT_EQ(json::parse(run({"show", strange, "--json"}).out)["title"], "\uFFFD");
    EXPECT_THAT(run({"show", strange}).out, HasSubstr("\uFFFD.jsonl"));
}

TEST_F(CommandLine, FindsTheConversationThatAnArgumentMeans) {
    write(codexFile, codexText("c1"));
    write(claudeFile, claudeText("a1"));
    write(".claude/projects/p/both.jsonl", claudeText("both"));
    write(".codex/sessions/both.jsonl", codexText("both"));
    home.write(".config/Claude/claude-code-sessions/local_1.json",
               R"({"sessionId":"local_1","cliSessionId":"a1"})");
    home.write("here/plain", claudeText("plain"));
    home.write("here/c1/note.txt", "a folder with the name of a session");
    home.write("here/a1", codexText("in the file a1"));
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(home.path("here"));

    const std::tuple<Words, std::string, std::string> cases[] = {
        {{"c1"}, "c1", "codex"},
        {{"local_1"}, "a1", "claude"},
        {{"bo", "--agent", "codex"}, "both", "codex"},
        {{"both", "--agent", "codex"}, "both", "codex"},
        {{"both", "--agent", "claude"}, "both", "claude"},
        {{"plain"}, "plain", "claude"},
        {{"a1"}, "in the file a1", "codex"},
        {{home.path(codexFile)}, "c1", "codex"},
    };
    for (const auto& [words, id, source] : cases) {
        auto all = words;
        all.insert(all.begin(), {"show", "--json"});
        const auto result = run(all);
        ASSERT_EQ(result.status, 0) << testing::PrintToString(words) << result.err;
        const auto shown = json::parse(result.out);
        EXPECT_EQ(shown["id"], id);
        EXPECT_EQ(shown["source"], source);
    }
    std::filesystem::current_path(before);
}

TEST_F(CommandLine, PreviewIsThePayloadByteForByte) {
    write(codexFile, codexText("c1"));
    const auto shown = json::parse(run({"show", "c1", "--json"}).out);
    const std::string third = shown["messages"][2]["id"];
    const std::string all = "me: Why?\n\ncodex: Because.\n\n\nme: And now?\n\ncodex: Done.";
    const std::pair<Words, std::string> cases[] = {
        {{}, all},
        {{"--from", third}, "me: And now?\n\ncodex: Done."},
        {{"--from", "3"}, "me: And now?\n\ncodex: Done."},
        {{"--from", third.substr(0, third.size() - 1)}, "me: And now?\n\ncodex: Done."},
        {{"--last", "1"}, "codex: Done."},
        {{"--last", "9"}, all},
        {{"--note", " Look.\n"}, "Look.\n\n" + all},
        {{"--note", "\x1b[1m\xe6\xa4\x9c", "--from", third},
         "\x1b[1m\xe6\xa4\x9c\n\nme: And now?\n\ncodex: Done."},
    };
    for (const auto& [words, payload] : cases) {
        auto withCommand = words;
        withCommand.insert(withCommand.begin(), {"preview", "c1"});
        const auto result = run(withCommand);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, payload);
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(CommandLine, SaysWhatAHandoffURLAsksFor) {
    EXPECT_EQ(json::parse(run({"url", "orvel://handoff?source=codex", "--json"}).out),
              (json{{"source", "codex"}, {"file", nullptr}, {"sessionID", nullptr}, {"instruction", ""}}));
    EXPECT_EQ(run({"url", "orvel://handoff?source=codex&file=/a%0Ab&instruction=c%0Ad%1B"}).out,
              "Source       Codex\n"
              "File         /a␊b\n"
              "Session      none\n"
              "Instruction  c\nd␛\n");
}

TEST_F(CommandLine, ListsRecentConversations) {
    const auto there = home.write("there.jsonl", codexText("c1"));
    home.write(
        ".local/share/Orvel/recent-conversations.json",
        json{{{"source", "claude"}, {"title", "Gone"}, {"path", "/gone.jsonl"}, {"lastUsed", 6'091'200.5}},
             {{"source", "codex"}, {"title", "Here"}, {"path", there}, {"lastUsed", 6'091'201.25}}}
            .dump());
    const auto result = run({"recent", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(
        json::parse(result.out),
        (json{
            {{"source", "codex"}, {"title", "Here"}, {"path", there}, {"lastUsed", 6'091'201.25}},
            {{"source", "claude"}, {"title", "Gone"}, {"path", "/gone.jsonl"}, {"lastUsed", 6'091'200.5}}}));
    EXPECT_EQ(run({"recent"}).out, "Codex   12 Mar 2001  Here  " + there +
                                       "\n"
                                       "Claude  12 Mar 2001  Gone  /gone.jsonl  (not available)\n");
}

TEST_F(CommandLine, PeopleGetAlignedLinesAndReadableMessages) {
    write(codexFile,
          R"({"type":"session_meta","payload":{"id":"c\u001b1","cwd":"/w/la\u0007rk","title":"T\u001b[2J\n"}}
{"type":"response_item","payload":{"type":"message","id":"m\u001b","role":"user","content":"One\n\u001b[2J\ttwo"}}
{"type":"event_msg","payload":{"type":"task_started"}}
)");
    write(claudeFile, claudeText("a1"));
    EXPECT_EQ(run({"list"}).out, "Claude  12 Mar 2001  Why?    lark   a1\n"
                                 "Codex   12 Mar 2001  T␛[2J␊  la␇rk  c␛1\n");

    const auto result = run({"show", "c\x1b"
                                     "1"});
    EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(result.out, HasSubstr("T␛[2J␊\nCodex · 1 message · still at work\nSession c␛1\nFile    " +
                                      home.path(codexFile) + "\n\nYou  1  m␛:"));
    EXPECT_TRUE(result.out.ends_with("\nOne\n␛[2J\ttwo\n")) << result.out;
}

TEST_F(CommandLine, WhatAProgramWroteUnderTheUsersNameIsFolded) {
    write(claudeFile, ClaudeTranscript({.id = "a1"})
                          .ask("Why?")
                          .answer("Because.")
                          .ask("<system-reminder>\nThe user named this.\n</system-reminder>")
                          .text());
    const auto shown = run({"show", "a1"}).out;
    EXPECT_TRUE(shown.starts_with("Why?\n")) << shown;
    EXPECT_THAT(shown, HasSubstr("\n\nReminder  "));
    EXPECT_THAT(shown, Not(HasSubstr("named this")));
    EXPECT_THAT(run({"show", "a1", "--json"}).out, HasSubstr("named this"));
    EXPECT_THAT(run({"preview", "a1"}).out, HasSubstr("named this"));
}

TEST_F(CommandLine, ColoursOnlyATerminalThatWantsIt) {
    write(claudeFile, claudeText("a1"));
    const std::tuple<bool, const char*, std::string, bool> cases[] = {
        {true, "TERM", "xterm", true},  {false, "TERM", "xterm", false}, {true, "TERM", "dumb", false},
        {true, "NO_COLOR", "1", false}, {true, "NO_COLOR", "", true},
    };
    for (const auto& [onTerminal, name, value, isColoured] : cases) {
        const ScopedVariable variable(name, value);
        CapturedOutput output;
        output.onTerminal = onTerminal;
        EXPECT_EQ(runCommandLine(std::vector<std::string>{"list"}, output), 0);
        EXPECT_EQ(output.out.find('\x1b') != std::string::npos, isColoured) << name << "=" << value;
    }
}

TEST_F(CommandLine, SaysWhereItLookedWhenThereIsNothing) {
    const std::tuple<Words, std::string, std::string> cases[] = {
        {{"list"},
         "",
         "No conversations were found. Looked in:\n  " + home.path(".codex/sessions") + "\n  " +
             home.path(".claude/projects") + "\n"},
        {{"list", "--agent", "claude"},
         "",
         "No conversations were found. Looked in:\n  " + home.path(".claude/projects") + "\n"},
        {{"list", "--json"}, "[]\n", ""},
        {{"recent"}, "", "No conversation has been opened yet.\n"},
        {{"recent", "--json"}, "[]\n", ""},
    };
    for (const auto& [words, out, err] : cases) {
        const auto result = run(words);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, out);
        EXPECT_EQ(result.err, err);
    }
}

TEST_F(CommandLine, NoCommandWritesAnything) {
    const auto file = write(codexFile, codexText("c1"));
    write(claudeFile, claudeText("a1"));
    home.write(".local/share/Orvel/recent-conversations.json", "no JSON");
    const auto before = stateOf(home.path());
    for (const auto& words : std::vector<Words>{{"list"},
                                                {"show", "c1"},
                                                {"preview", file, "--note", "x"},
                                                {"recent"},
                                                {"recent", "--data", home.path("new")},
                                                {"list", "--home", home.path("new")}})
        run(words);
    EXPECT_EQ(stateOf(home.path()), before);
}
