// Every failure that the command line can meet: its status, its words, its case, and nothing else.

#include "cli/RunningProgram.h"
#include "samples/TranscriptWriter.h"

#include <filesystem>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;

namespace {

const std::string user =
    R"({"type":"response_item","payload":{"type":"message","role":"user","content":"A"}})";

// Expects that the command fails with these words, and with --json says so on standard output too.
void expectFailure(Words words, const std::string& caseName, const std::string& message) {
    const auto plain = run(words);
    EXPECT_EQ(plain.status, 1) << message;
    EXPECT_EQ(plain.out, "");
    EXPECT_EQ(plain.err, message + "\n");
    words.push_back("--json");
    const auto withJson = run(words);
    EXPECT_EQ(withJson.status, 1);
    EXPECT_EQ(withJson.err, message + "\n");
    EXPECT_EQ(json::parse(withJson.out), (json{{"error", caseName}, {"message", message}}));
}

} // namespace

TEST_F(CommandLine, FilesThatCannotBeUsedFailWithTheirOwnWords) {
    const auto unreadable = [](const std::string& path, const std::string& reason) {
        return "Couldn't read “" + path + "”: " + reason + ".";
    };
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {home.path("none"), "noSuchFile", unreadable(home.path("none"), "No such file or directory")},
        {home.write("empty", ""), "noMessages",
         "No user or assistant messages were found. Choose a supported JSONL file."},
        {home.write("forked", R"({"type":"session_meta","payload":{"id":"c","history_base":{}}})"
                              "\n" +
                                  user),
         "inheritedHistory", "Inherited history must be loaded through the Codex history API."},
    };
    for (const auto& [path, caseName, message] : cases)
        for (const std::string command : {"show", "preview"})
            expectFailure({command, path}, caseName, message);

    // On standard error nothing of a name reaches the terminal raw, in JSON it is whole.
    const auto result = run({"show", home.path("\x1b[2J"), "--json"});
    EXPECT_THAT(result.err, HasSubstr("␛[2J”: No such file"));
    EXPECT_THAT(std::string(json::parse(result.out)["message"]), HasSubstr("\x1b[2J”: No such file"));

    home.write(".local/share/Orvel/recent-conversations.json", "[");
    expectFailure({"recent"}, "unreadableRecents",
                  "Couldn't load recent conversations. Open the conversation file again.");
}

TEST_F(CommandLine, ArgumentsThatMeanNoOneConversationAreRefused) {
    const auto codex = [](const std::string& id) {
        return CodexTranscript({.id = id}).ask("A").answer("B").text();
    };
    const auto claude = [](const std::string& id) {
        return ClaudeTranscript({.id = id}).ask("A").answer("B").text();
    };
    home.write(".codex/sessions/one.jsonl", codex("one"));
    home.write(".codex/sessions/twice.jsonl", codex("twice"));
    home.write(".codex/sessions/again.jsonl", codex("twice"));
    home.write(".codex/sessions/both.jsonl", codex("both"));
    home.write(".claude/projects/p/both.jsonl", claude("both"));
    home.write(".claude/projects/p/changes.jsonl", claude("changes") + claude("changed"));
    home.write("here/self/file", "");
    std::filesystem::create_symlink("loop", home.path("here/loop"));
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(home.path("here"));

    const std::string ambiguous =
        "Multiple transcripts have the same conversation ID. Choose the file to use.";
    expectFailure({"show", "nobody"}, "notFound",
                  "No conversation has the ID “nobody”. “orvel-cli list” prints the IDs.");
    expectFailure(
        {"show", "self"}, "notFound",
        "No conversation has the ID “self”. “orvel-cli list” prints the IDs."); // A folder is no transcript.
    expectFailure({"show", "one", "--agent", "claude"}, "notFound",
                  "No conversation with Claude has the ID “one”. “orvel-cli list” prints the IDs.");
    expectFailure({"preview", "twice"}, "ambiguous", ambiguous);
    expectFailure({"show", "both"}, "ambiguous", ambiguous);
    expectFailure({"show", "changes"}, "conversationMismatch",
                  "The selected conversation ID does not match the loaded transcript.");
    expectFailure({"show", "loop"}, "fileError",
                  "Couldn't read “" + home.path("here/loop") + "”: Too many levels of symbolic links.");
    expectFailure({"preview", "one", "--from", "x"}, "messageNotFound",
                  "The conversation has no message with the ID “x”. “orvel-cli show” prints the IDs.");
    expectFailure({"url", "nonsense"}, "invalidURL", "Couldn't read the Orvel URL.");
    std::filesystem::current_path(before);
}

TEST_F(CommandLine, TheProgramSurvivesAStandardOutputThatTakesNothing) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const auto toClosedPipe = RunningProgram({"--help"}, ends[1]).finish();
    EXPECT_EQ(toClosedPipe.status, 128 + SIGPIPE);
    EXPECT_EQ(toClosedPipe.err, "") << "whoever reads only a part has enough";
    close(ends[1]);

    EXPECT_EQ(RunningProgram({"--help"}, RunningProgram::none).finish().status, 1);
    EXPECT_EQ(RunningProgram({"--sample"}, RunningProgram::none).finish().status, 1);
    if (const int full = open("/dev/full", O_WRONLY); full >= 0) {
        const auto toFullDisk = RunningProgram({"url", "orvel://handoff?source=codex"}, full).finish();
        EXPECT_EQ(toFullDisk.status, 1);
        EXPECT_EQ(toFullDisk.err, "Couldn't write to “standard output”: No space left on device.\n");
        close(full);
    }
    const int nowhere = open("/dev/null", O_WRONLY);
    EXPECT_EQ(RunningProgram({"list"}, nowhere).finish().status, 0);
    EXPECT_EQ(RunningProgram({}, nowhere).finish().status, 2);
    close(nowhere);
}
