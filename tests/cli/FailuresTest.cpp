// Every failure that the command line can meet: its status, its words, its case, and nothing else.

#include "cli/CommandLineRun.h"
#include "samples/TranscriptWriter.h"

#include <filesystem>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;

namespace {

const std::string user =
    R"({"type":"response_item","payload":{"type":"message","role":"user","content":"A"}})";
const std::string cutAt2 =
    "Couldn't read conversation file line 2. If the file is being written, refresh it.";

// Expects that the command fails with these words, and with --json says so on standard output too.
void expectFailure(std::vector<std::string> words, const std::string& caseName, const std::string& message) {
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

// Runs the program itself and gives its exit status, 128 and more for a crash, and what it says on standard
// error. It gets `out` as its standard output, or none.
RunResult runProgram(std::vector<std::string> words, int out) {
    words.insert(words.begin(), "orvel-cli");
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    if (out >= 0)
        posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    else
        posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    pid_t child = 0;
    EXPECT_EQ(posix_spawn(&child, ORVEL_CLI, &actions, nullptr, arguments.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    RunResult result{};
    char buffer[512];
    for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;)
        result.err.append(buffer, static_cast<std::size_t>(got));
    close(ends[0]);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace

TEST_F(CommandLine, FilesThatAreNoTranscriptFailWithTheirOwnWords) {
    const auto unreadable = [](const std::string& path, const std::string& reason) {
        return "Couldn't read “" + path + "”: " + reason + ".";
    };
    std::filesystem::create_directory(home.path("folder"));
    std::filesystem::create_symlink("loop", home.path("loop"));
    ASSERT_EQ(mkfifo(home.path("fifo").c_str(), 0600), 0);
    const struct {
        std::string path, caseName, message;
    } cases[] = {
        {home.path("none"), "noSuchFile", unreadable(home.path("none"), "No such file or directory")},
        {home.path("folder"), "isFolder", unreadable(home.path("folder"), "It is a folder")},
        {home.path("fifo"), "notRegular", unreadable(home.path("fifo"), "It is not a regular file")},
        {home.path("loop"), "fileError", unreadable(home.path("loop"), "Too many levels of symbolic links")},
        {home.write("empty", ""), "noMessages",
         "No user or assistant messages were found. Choose a supported JSONL file."},
        {home.write("nul", user + "\n" + std::string(3, '\0')), "malformedLine", cutAt2},
        {home.write("cut", user + "\n" + user.substr(0, 20)), "malformedLine", cutAt2},
        {home.write("deep", user + "\n" + std::string(100'000, '[')), "malformedLine", cutAt2},
        {home.write("latin", user + "\n\"\xe4\""), "invalidUTF8",
         "Couldn't read the conversation file as UTF-8."},
        {home.writeSparse("large", 100'000'001), "tooLarge",
         "The conversation file is too large. Choose a file no larger than 100 MB."},
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

    if (geteuid() != 0) {
        const auto secret = home.write("secret", user);
        ASSERT_EQ(chmod(secret.c_str(), 0), 0);
        expectFailure({"show", secret}, "noPermission", unreadable(secret, "Permission denied"));
    }
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

    const std::string notFound = "No transcript was found for the specified conversation ID.";
    const std::string ambiguous =
        "Multiple transcripts have the same conversation ID. Choose the file to use.";
    expectFailure({"show", "nobody"}, "notFound", notFound);
    expectFailure({"show", ""}, "notFound", notFound);
    expectFailure({"show", "on"}, "notFound", notFound);
    expectFailure({"show", "self"}, "notFound", notFound); // A folder is no transcript.
    expectFailure({"show", "one", "--agent", "claude"}, "notFound", notFound);
    expectFailure({"preview", "twice"}, "ambiguous", ambiguous);
    expectFailure({"preview", "twice", "--agent", "codex"}, "ambiguous", ambiguous);
    expectFailure({"show", "both"}, "ambiguous", ambiguous);
    expectFailure({"show", "changes"}, "conversationMismatch",
                  "The selected conversation ID does not match the loaded transcript.");
    expectFailure({"show", "loop"}, "fileError",
                  "Couldn't read “" + home.path("here/loop") + "”: Too many levels of symbolic links.");
    for (const std::string id : {"nonsense", ""})
        expectFailure({"preview", "one", "--from", id}, "messageNotFound",
                      "The conversation has no message with the ID “" + id +
                          "”. “orvel-cli show” prints the IDs.");
    for (const std::string url : {"", "nonsense", "orvel://handoff?source=Codex",
                                  "orvel://handoff?source=codex&"
                                  "source=codex"})
        expectFailure({"url", url}, "invalidURL", "Couldn't read the Orvel URL.");
    std::filesystem::current_path(before);
}

TEST_F(CommandLine, ACutRecentsFileFailsWholeAndStaysAsItIs) {
    const std::string whole = R"([{"source":"codex","title":"T","path":"/t.jsonl","lastUsed":1.5}])";
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const auto path = home.write(".local/share/Orvel/recent-conversations.json", whole.substr(0, size));
        expectFailure({"recent"}, "unreadableRecents",
                      "Couldn't load recent conversations. Open the conversation file again.");
        EXPECT_EQ(contentsOf(path), whole.substr(0, size));
    }
}

TEST_F(CommandLine, AFullDiskIsAFailure) {
    for (const auto& words : std::vector<std::vector<std::string>>{{"list", "--json"},
                                                                   {"url", "orvel://handoff?source=codex"},
                                                                   {"--help"},
                                                                   {"show", "x", "--json"}}) {
        CapturedOutput output;
        output.isFull = true;
        EXPECT_EQ(runCommandLine(words, output), 1);
        EXPECT_NE(output.err, "");
    }
}

TEST_F(CommandLine, TheProgramSurvivesAStandardOutputThatTakesNothing) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const auto toClosedPipe = runProgram({"--help"}, ends[1]);
    EXPECT_EQ(toClosedPipe.status, 1);
    EXPECT_EQ(toClosedPipe.err, "Couldn't write to “standard output”: Broken pipe.\n");
    close(ends[1]);

    EXPECT_EQ(runProgram({"--help"}, -1).status, 1);
    EXPECT_EQ(runProgram({"--sample"}, -1).status, 1);
    if (const int full = open("/dev/full", O_WRONLY); full >= 0) {
        const auto toFullDisk = runProgram({"url", "orvel://handoff?source=codex"}, full);
        EXPECT_EQ(toFullDisk.status, 1);
        EXPECT_EQ(toFullDisk.err, "Couldn't write to “standard output”: No space left on device.\n");
        close(full);
    }
    const int nowhere = open("/dev/null", O_WRONLY);
    EXPECT_EQ(runProgram({"list"}, nowhere).status, 0);
    EXPECT_EQ(runProgram({}, nowhere).status, 2);
    close(nowhere);
}
