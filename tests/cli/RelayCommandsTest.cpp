// Links, sending and receipts in the terminal, with the sample's stand-in for codex as a real process.

#include "cli/CommandLineRun.h"
#include "cli/RunningProgram.h"
#include "samples/SampleCodexHome.h"
#include "samples/SampleCodexProgram.h"
#include "samples/TranscriptWriter.h"

#include <filesystem>
#include <map>

#include <nlohmann/json.hpp>
#include <sys/file.h>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;

namespace {

const std::string codexID = "01a1fd20-0000-7000-8000-000000000001";
const std::string otherCodexID = "01a1fd20-0000-7000-8000-000000000002";
const std::string claudeID = "5b0d714f-0000-4000-8000-000000000003";
const std::string busyID = "77770000-0000-4000-8000-000000000004";

class RelayCommandLine : public CommandLine {
  protected:
    RelayCommandLine() {
        write(".codex/sessions/one.jsonl", CodexTranscript({.id = codexID}).ask("q1").answer("a1").text());
        write(".codex/sessions/two.jsonl", CodexTranscript({.id = otherCodexID}).ask("q").answer("a").text());
        write(claudeFile, claudeTranscript().text());
        write(".claude/projects/p/" + busyID + ".jsonl", ClaudeTranscript({.id = busyID}).ask("c").text());
        std::filesystem::create_directories(home.path("bin"));
        installCodex(sampleCodexProgram().value());
    }

    static ClaudeTranscript claudeTranscript() {
        return ClaudeTranscript({.id = claudeID}).ask("c1").answer("d1").ask("c2").answer("d2");
    }

    void installCodex(const std::string& program) const {
        std::filesystem::remove(codex);
        std::filesystem::create_symlink(program, codex);
    }

    /// Links the two, and gives the link's identifier.
    static std::string link(const std::string& one = codexID, const std::string& two = claudeID) {
        const auto made = run({"link", one, two});
        EXPECT_EQ(made.status, 0) << made.err;
        return made.out.substr(0, made.out.find('\n'));
    }

    std::string records() const { return contentsOf(statePath); }

    /// The records with the last transfer changed.
    void changeTransfer(const json& change) const {
        auto state = json::parse(records());
        state["transfers"].back().update(change);
        home.write(".local/share/Orvel/relay-state.json", state.dump());
    }

    /// What the user is quoted with in the first Codex conversation.
    std::vector<std::string> questions() const {
        std::vector<std::string> texts;
        const auto shown = json::parse(run({"show", codexID, "--json"}).out);
        for (const auto& message : shown["messages"])
            if (message["role"] == "user") texts.push_back(message["text"]);
        return texts;
    }

    /// Sends from Claude and waits, while another program holds the conversation with Codex and answers.
    RunResult sendAndAnswer(Words words) const {
        const auto writer = codexHome.writer(codexHome.thread(codexID).value());
        words.insert(words.begin(), {"send", "--source", "claude", "--wait", "60"});
        RunningProgram sending(words);
        EXPECT_TRUE(sending.says("Delivered "));
        EXPECT_TRUE(writer->begin(turnBegins));
        writer->finish(turnBegins + 1'000, false);
        return sending.finish();
    }

    /// Whether a message is queued for the writer within a minute, which begins to work on it then.
    static bool beginsSoon(SampleCodexWriter& writer) {
        for (int looks = 0; looks < 6'000; ++looks) {
            if (writer.begin(turnBegins)) return true;
            usleep(10'000);
        }
        return false;
    }

    std::string pendingState() const {
        const auto all = json::parse(run({"pending", "--json"}).out);
        return all.empty() ? "nothing" : all.back()["state"].get<std::string>();
    }

    /// Whether any process runs the command.
    bool codexRuns() const {
        for (const auto& entry : std::filesystem::directory_iterator("/proc"))
            if (contentsOf(entry.path() / "cmdline").starts_with(codex + '\0')) return true;
        return false;
    }

    const std::string claudeFile = ".claude/projects/p/" + claudeID + ".jsonl";
    const std::string statePath = home.path(".local/share/Orvel/relay-state.json");
    const std::string codex = home.path("bin/codex");
    const SampleCodexHome codexHome{home.path(".codex")};
    static constexpr std::int64_t turnBegins = 1'780'100'000'000; // Milliseconds of the Unix epoch.

  private:
    ScopedVariable path{"PATH", home.path("bin") + ":" + std::getenv("PATH")};
    ScopedVariable codexFolder{"CODEX_HOME", home.path(".codex")};
};

// Expects that the command fails with a case and words, and leaves the records as they are.
void expectFailure(Words words, const std::string& caseName, const std::string& message) {
    words.push_back("--json");
    const auto result = run(words);
    EXPECT_EQ(result.status, 1) << testing::PrintToString(words);
    const auto said = json::parse(result.out);
    EXPECT_EQ(said.at("error"), caseName) << result.err;
    EXPECT_THAT(said.at("message").get<std::string>(), HasSubstr(message));
    EXPECT_EQ(result.err, said.at("message").get<std::string>() + "\n");
}

TEST_F(RelayCommandLine, LinksTwoConversationsOnceAndListsTheLink) {
    EXPECT_EQ(run({"links"}).err, "There are no links yet; “orvel-cli link” makes one.\n");
    const auto id = link();
    EXPECT_EQ(link(), id);
    EXPECT_EQ(link(codexID, "5b0d"), id);
    EXPECT_EQ(json::parse(run({"link", codexID, claudeID, "--json"}).out),
              (json{{"id", id}, {"isNew", false}}));
    const auto second = json::parse(run({"link", otherCodexID, claudeID, "--json"}).out);
    EXPECT_EQ(second["isNew"], true);

    const auto listed = json::parse(run({"links", "--json"}).out);
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0]["id"], id);
    EXPECT_EQ(listed[0]["isPending"], false);
    EXPECT_EQ(listed[0]["conversations"][0]["sessionID"], claudeID);
    EXPECT_EQ(listed[0]["conversations"][1]["sessionID"], codexID);
    EXPECT_THAT(run({"links"}).out, HasSubstr(claudeID + " ↔ lark · 01a1fd20    " + id));
}

TEST_F(RelayCommandLine, RefusesWhatMeansNoOneConversationOrLink) {
    const auto id = link();
    auto state = json::parse(records());
    auto twin = state["pairs"][0];
    twin["id"] = id.substr(0, 8) + "-0000-4000-8000-000000000000";
    twin["codex"]["sessionID"] = otherCodexID;
    state["pairs"].push_back(twin);
    twin["id"] = "C105ED00-0000-4000-8000-000000000000";
    twin["archivedAt"] = 1;
    state["pairs"].push_back(twin);
    home.write(".local/share/Orvel/relay-state.json", state.dump());
    const auto before = records();

    const struct {
        Words words;
        std::string caseName, message;
    } cases[] = {
        {{"link", "nobody", claudeID}, "notFound", "No conversation with Codex has the ID “nobody”."},
        {{"link", claudeID, codexID}, "notFound", "No conversation with Codex has the ID “" + claudeID},
        {{"link", "01a1", claudeID}, "ambiguous", "The IDs of 2 conversations with Codex begin with “01a1”."},
        {{"send", "nothing", "--source=codex"}, "pairNotFound", "No link has the ID “nothing”."},
        {{"retry", id + "0"}, "pairNotFound", "No link has the ID"},
        {{"copy-saved", id.substr(0, 8)}, "ambiguous", "The IDs of 2 links begin with “" + id.substr(0, 8)},
        {{"copy-saved", "c105"}, "pairArchived", "This link is closed."},
        {{"copy-saved", id}, "nothingPending", "No saved message of this link waits"},
    };
    for (const auto& [words, caseName, message] : cases) expectFailure(words, caseName, message);
    EXPECT_EQ(records(), before);
}

TEST_F(RelayCommandLine, SendsAMessageAndSeesItInTheTranscript) {
    const auto id = link();
    const auto shown = json::parse(run({"show", claudeID, "--json"}).out);
    const std::string lastQuestion = shown["messages"][2]["id"];
    const auto sent = sendAndAnswer({id.substr(0, 9), "--note", "Look.", "--from", lastQuestion});
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_EQ(sent.err, "");
    EXPECT_THAT(sent.out, HasSubstr("Saved      25 bytes from Claude to Codex, as "));
    EXPECT_THAT(sent.out, HasSubstr("\nDelivered  Codex has taken the message.\n"
                                    "Seen       The message stands in the destination's transcript.\n"));
    EXPECT_EQ(questions(), (std::vector<std::string>{"q1", "Look.\n\nme: c2\n\nclaude: d2"}));
    EXPECT_EQ(run({"pending"}).err, "No message waits to be seen.\n");

    // Now there is nothing new, but a note may go alone.
    expectFailure({"send", id, "--source", "claude"}, "emptyTransfer",
                  "New messages or instructions are required.\nNothing was saved or sent.");
    const auto note = run({"send", id, "--source", "claude", "--note", "And?", "--json"});
    EXPECT_EQ(note.status, 0) << note.err;
    const auto said = json::parse(note.out);
    EXPECT_THAT(said["state"], testing::AnyOf("delivered", "received"));
    EXPECT_EQ(said["source"], "claude");
    EXPECT_EQ(said["link"], id);
    EXPECT_EQ(said["id"], json::parse(records())["transfers"][1]["id"]);
}

TEST_F(RelayCommandLine, WhatCannotBeSentLeavesTheRecordsAsTheyAre) {
    const auto id = link(), busy = link(otherCodexID, busyID);
    const auto before = records();
    const struct {
        Words words;
        std::string caseName, message;
    } cases[] = {
        {{"send", busy, "--source=claude"}, "busy", "Wait for the conversation reply to finish."},
        {{"send", id, "--source=claude", "--from=none"}, "messageNotFound", "has no message with the ID"},
        {{"send", id, "--source=claude", "--note=\xff"}, "invalidNote", "The note is no valid UTF-8 text."},
        {{"send", id, "--source=claude", "--note=" + std::string(131'072, 'x')},
         "messageRefused",
         "and Codex takes 131,071 at most. Choose a later start for the range, or use Copy."},
    };
    for (const auto& [words, caseName, message] : cases) {
        expectFailure(words, caseName, message);
        expectFailure(words, caseName, "\nNothing was saved or sent.");
    }
    std::filesystem::remove(home.path(claudeFile));
    expectFailure({"send", id, "--source=claude"}, "unreadableConversation", "No such file or directory");
    EXPECT_EQ(records(), before);
}

TEST_F(RelayCommandLine, AMessageThatWasNotDeliveredStaysAndMayBeSentAgain) {
    const auto id = link();
    installCodex("/bin/false");
    expectFailure({"send", id, "--source", "claude", "--note", "Look.\t"}, "notDelivered",
                  "nothing was inserted. “orvel-cli retry " + id +
                      "” may be used, and “orvel-cli copy-saved");
    EXPECT_EQ(pendingState(), "mayBeRetried");
    EXPECT_THAT(run({"pending"}).out, HasSubstr("Claude → Codex  now  may be retried  link " + id));
    EXPECT_THAT(run({"links"}).out, HasSubstr("  pending  " + id));
    const std::string message = "Look.\n\nme: c1\n\nclaude: d1\n\nme: c2\n\nclaude: d2";
    EXPECT_EQ(run({"copy-saved", id}).out, message);
    EXPECT_EQ(json::parse(run({"copy-saved", id, "--json"}).out)["message"], message);
    expectFailure(
        {"send", id, "--source", "claude"}, "pendingTransfer",
        "has not been seen yet. Nothing new was saved or sent.\nThe message is saved, and nothing was "
        "inserted. “orvel-cli retry ");

    // Where its source has gone on, only copying is advised.
    const auto before = claudeTranscript();
    write(claudeFile, claudeTranscript().ask("c3").answer("d3").text());
    expectFailure(
        {"retry", id}, "notDelivered",
        "Its source has gone on since, so it can't be sent again as it stands. “orvel-cli copy-saved");
    write(claudeFile, before.text());

    installCodex(sampleCodexProgram().value());
    const auto again = run({"retry", id, "--wait", "60"});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_THAT(again.out, HasSubstr("\nSeen       "));
    EXPECT_EQ(questions(), (std::vector<std::string>{"q1", message}));
    EXPECT_EQ(pendingState(), "nothing");
}

TEST_F(RelayCommandLine, OrvelHasNoWayIntoClaudeHereAndSaysSo) {
    const auto id = link();
    expectFailure({"send", id, "--source", "codex"}, "notDelivered", "accessibility permission. Use Copy");
    EXPECT_EQ(pendingState(), "mayBeRetried") << "it can't have reached Claude";
    const std::string message = "me: q1\n\ncodex: a1";
    EXPECT_EQ(run({"copy-saved", id}).out, message);

    // The user types it while a tool runs.
    write(claudeFile, claudeTranscript().takeUp(message).answer("d3").text());
    const auto unseen = run({"receipts"});
    EXPECT_EQ(unseen.status, 0);
    EXPECT_THAT(unseen.err, HasSubstr("no receipt will come. Claude has it"));
    EXPECT_EQ(pendingState(), "mayBeRetried");

    // And once more while it is idle.
    write(claudeFile, claudeTranscript().ask(message).text());
    const auto result = run({"retry", id});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "Seen       The message stands in the destination's transcript.\n");
}

TEST_F(RelayCommandLine, WhatTheCommandStoredAndFailedToSayHasArrived) {
    const auto id = link();
    const auto program = home.write("bin/forgetful", "#!/bin/sh\n\"" + sampleCodexProgram().value() +
                                                         "\" \"$@\"\n[ \"$1\" != queue ]\n");
    std::filesystem::permissions(program, std::filesystem::perms(0700));
    installCodex(program);
    const auto writer = codexHome.writer(codexHome.thread(codexID).value());
    RunningProgram sending({"send", id, "--source", "claude", "--wait", "60"});
    ASSERT_TRUE(sending.says("Saved "));
    ASSERT_TRUE(beginsSoon(*writer));
    const auto ended = sending.finish();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    EXPECT_THAT(ended.out, HasSubstr("\nSeen       "));
    EXPECT_EQ(pendingState(), "nothing");
}

TEST_F(RelayCommandLine, WhatCannotBeToldIsDeliveredAllTheSame) {
    const auto id = link();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const struct {
        const char* name;
        int output;
        Words words;
    } cases[] = {{"a closed pipe", ends[1], {}},
                 {"a full disk", open("/dev/full", O_WRONLY | O_CLOEXEC), {"--json"}},
                 {"none", RunningProgram::none, {}}};
    std::vector<std::string> expected{"q1"};
    for (const auto& [name, output, more] : cases) {
        SCOPED_TRACE(name);
        Words words{"send", id, "--source", "claude", "--wait", "60", "--note", name};
        words.insert(words.end(), more.begin(), more.end());
        const auto writer = codexHome.writer(codexHome.thread(codexID).value());
        RunningProgram sending(words, output);
        ASSERT_TRUE(beginsSoon(*writer));
        writer->finish(turnBegins + 1'000, false);
        const auto sent = sending.finish();
        EXPECT_EQ(sent.status, 1);
        EXPECT_THAT(sent.err, HasSubstr("Couldn't write to “standard output”"));
        EXPECT_THAT(sent.err, HasSubstr("\nThe message was received."));
        EXPECT_EQ(pendingState(), "nothing");
        EXPECT_EQ(questions().size(), expected.size() + 1);
        expected = questions();
        if (output >= 0) close(output);
    }
}

TEST_F(RelayCommandLine, OnlyWhatSurelyWasNotInsertedIsSentAgain) {
    const auto id = link();
    installCodex("/bin/false");
    EXPECT_EQ(run({"send", id, "--source", "claude"}).status, 1);
    installCodex(sampleCodexProgram().value());
    const struct {
        json change;
        std::string state, words;
    } cases[] = {
        {{{"retryable", false}}, "unconfirmed", "Whether it was inserted is not known"},
        {{{"retryable", nullptr}}, "waitingForPaste", "was not sent. “orvel-cli copy-saved"},
        {{{"retryable", false}, {"deliveryMode", "submitted"}},
         "checking",
         "was delivered, but not yet seen"},
    };
    for (const auto& [change, state, words] : cases) {
        changeTransfer({{"retryable", nullptr}, {"deliveryMode", "copied"}});
        changeTransfer(change);
        EXPECT_EQ(pendingState(), state);
        expectFailure({"retry", id}, "retryRefused", words);
        EXPECT_EQ(questions(), (std::vector<std::string>{"q1"}));
    }

    // What the record says was sent no longer follows from the transcript.
    changeTransfer({{"retryable", true}, {"deliveryMode", "copied"}, {"payload", "something else"}});
    expectFailure({"retry", id}, "notDelivered", "Nothing will be resent.");
    EXPECT_EQ(pendingState(), "mayBeRetried");
}

TEST_F(RelayCommandLine, AMessageThatIsLateIsSeenByTheNextPass) {
    const auto id = link();
    const auto writer = codexHome.writer(codexHome.thread(codexID).value());
    expectFailure({"send", id, "--source", "claude", "--wait", "1"}, "notSeen",
                  "The message was not seen within 1 seconds.\nThe message was delivered, but not yet seen");
    EXPECT_EQ(pendingState(), "checking");
    EXPECT_EQ(run({"receipts"}).out, "");

    ASSERT_TRUE(writer->begin(turnBegins));
    const auto seen = json::parse(run({"receipts", "--json"}).out);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0]["link"], id);
    EXPECT_EQ(seen[0]["source"], "claude");
    EXPECT_EQ(run({"receipts", "--json"}).out, "[]\n");
}

TEST_F(RelayCommandLine, APassNamesTheConversationsThatItCouldNotRead) {
    const auto id = link();
    EXPECT_EQ(run({"send", id, "--source", "codex"}).status, 1);
    std::filesystem::remove(home.path(claudeFile));
    expectFailure({"receipts"}, "notChecked", "The conversation “" + claudeID + "” could not be read.");
}

TEST_F(RelayCommandLine, OneWriterAtATimeWhichMayBeBrokenOff) {
    const auto id = link();
    const auto thread = codexHome.thread(codexID).value();
    EXPECT_FALSE(codexHome.hasWriter(thread));
    // The stand-in waits for this lock before it answers.
    const int queue = open(home.path(".codex/sample/" + codexID + ".queue").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(queue, LOCK_EX), 0);
    RunningProgram sending({"send", id, "--source", "claude"});
    ASSERT_TRUE(sending.says("Saved "));

    const auto holder = "orvel-cli (process " + std::to_string(sending.id()) + ")";
    const auto before = records();
    for (const auto& words : std::vector<Words>{
             {"send", id, "--source", "codex"}, {"retry", id}, {"receipts"}, {"link", codexID, claudeID}})
        expectFailure(words, "dataFolderInUse", "is in use by " + holder);
    EXPECT_EQ(run({"links"}).status, 0);
    EXPECT_EQ(pendingState(), "unconfirmed");
    EXPECT_EQ(records(), before);

    sending.signal(SIGTERM);
    const auto ended = sending.finish();
    close(queue);
    EXPECT_EQ(ended.status, 128 + SIGTERM);
    EXPECT_THAT(ended.err,
                HasSubstr("Interrupted.\nThe message is saved. Whether it was inserted is not known"));
    EXPECT_EQ(records(), before);
    EXPECT_FALSE(codexRuns());
    EXPECT_EQ(run({"receipts"}).status, 0);
    EXPECT_EQ(questions(), (std::vector<std::string>{"q1"}));
}

TEST_F(RelayCommandLine, WaitingCanBeBrokenOffWithoutHarm) {
    const auto id = link();
    const auto writer = codexHome.writer(codexHome.thread(codexID).value());
    RunningProgram sending({"send", id, "--source", "claude", "--wait", "60"});
    ASSERT_TRUE(sending.says("Delivered "));
    sending.signal(SIGINT);
    const auto ended = sending.finish();
    EXPECT_EQ(ended.status, 128 + SIGINT);
    EXPECT_THAT(ended.err, HasSubstr("Interrupted.\nThe message was delivered, but not yet seen"));
    EXPECT_FALSE(codexRuns());
    ASSERT_TRUE(writer->begin(turnBegins));
    EXPECT_THAT(run({"receipts"}).out, HasSubstr("Seen  Claude → Codex  link " + id));
}

TEST_F(RelayCommandLine, ReadingWritesNothingAndBrokenRecordsStayAsTheyAre) {
    const std::vector<Words> readings{{"links"}, {"pending"}, {"copy-saved", "1"}};
    for (const auto& reading : readings) run(reading);
    EXPECT_FALSE(std::filesystem::exists(home.path(".local")));

    const std::string broken = R"({"pairs":7})";
    home.write(".local/share/Orvel/relay-state.json", broken);
    const std::string words = "The file does not hold relay records: pairs is not a list.";
    for (const auto& reading : readings) expectFailure(reading, "unexpectedContent", words);
    for (const auto& writing : std::vector<Words>{
             {"link", codexID, claudeID}, {"send", "1", "--source=codex"}, {"retry", "1"}, {"receipts"}})
        expectFailure(writing, "unreadableRecords", "The original file is kept.\n" + words);
    EXPECT_EQ(records(), broken);
}

TEST_F(RelayCommandLine, AChainIsOneLinkThatGrowsClosesAndOpensAgain) {
    const auto id = link();
    const auto first = json::parse(run({"links", "--json"}).out)[0]["pairs"][0].get<std::string>();
    EXPECT_EQ(first, id);
    expectFailure({"extend", id, otherCodexID}, "noEnd", "Say with --leading or --trailing");
    expectFailure({"extend", id, otherCodexID, "--trailing"}, "notExtended", "\nThe link is as it was.");
    expectFailure({"extend", id, codexID, "--leading"}, "notExtended", "\nThe link is as it was.");
    const auto made = run({"extend", id.substr(0, 6), otherCodexID, "--leading"});
    EXPECT_EQ(made.status, 0) << made.err;
    const auto chain = made.out.substr(0, made.out.find('\n'));
    const auto listed = json::parse(run({"links", "--json"}).out);
    ASSERT_EQ(listed.size(), 1U);
    EXPECT_EQ(listed[0]["id"], chain);
    EXPECT_EQ(listed[0]["conversations"][0]["sessionID"], otherCodexID);
    EXPECT_EQ(listed[0]["conversations"][2]["sessionID"], codexID);
    EXPECT_EQ(listed[0]["pairs"].size(), 2U);
    expectFailure({"extend", chain, busyID, "--leading"}, "notExtended", "\nThe link is as it was.");

    // Which way a message goes, a pair says.
    expectFailure({"send", chain, "--source", "claude"}, "severalWays", id + "  ");
    installCodex("/bin/false");
    expectFailure({"send", id, "--source", "claude", "--note", "Look."}, "notDelivered", "retry " + id);
    EXPECT_THAT(run({"copy-saved", chain}).out, testing::StartsWith("Look."));
    expectFailure({"close", chain}, "notClosed", "\nThe link stays open.");
    installCodex(sampleCodexProgram().value());
    EXPECT_EQ(run({"retry", chain, "--wait", "60"}).status, 0);

    EXPECT_EQ(run({"close", id}).out, chain + "\n") << "a chain closes as a whole";
    EXPECT_EQ(run({"links", "--json"}).out, "[]\n");
    EXPECT_EQ(json::parse(run({"links", "--closed", "--json"}).out)[0]["id"], chain);
    expectFailure({"send", id, "--source", "claude"}, "pairArchived", "This link is closed.");
    EXPECT_EQ(run({"complete", "closed"}).out, chain + "\n" + listed[0]["pairs"][0].get<std::string>() +
                                                   "\n" + listed[0]["pairs"][1].get<std::string>() + "\n");
    EXPECT_EQ(run({"reopen", chain}).out, chain + "\n");
    expectFailure({"reopen", chain}, "notClosed", "This link is open.");
    EXPECT_EQ(run({"links", "--closed"}).err, "No link is closed.\n");
}

TEST_F(RelayCommandLine, BeginsAConversationWithCodexAndLinksIt) {
    const auto begun = run({"new", "5b0d", "--to", "codex", "--folder", home.path("bin"), "--note", "Look.",
                            "--last", "2", "--wait", "60", "--json"});
    ASSERT_EQ(begun.status, 0) << begun.err;
    const auto said = json::parse(begun.out);
    EXPECT_EQ(said["state"], "received");
    EXPECT_EQ(said["source"], "claude");
    const auto shown = json::parse(run({"show", said["conversation"], "--json"}).out);
    EXPECT_EQ(shown["messages"][0]["text"], "Look.\n\nme: c2\n\nclaude: d2");
    EXPECT_EQ(json::parse(run({"links", "--json"}).out)[0]["id"], said["link"]);
    EXPECT_EQ(run({"pending", "--json"}).out, "[]\n");

    const auto before = records();
    const struct {
        Words words;
        std::string caseName, message;
    } cases[] = {
        {{claudeID, "--to=claude"}, "notFound", "No conversation with Codex has the ID"},
        {{claudeID, "--to=codex"}, "invalidFolder", "Say with --folder"},
        {{codexID, "--to=claude", "--folder=/"}, "invalidFolder", "--folder is for"},
        {{claudeID, "--to=codex", "--folder", home.path("gone")}, "startRefused", "the working folder"},
        {{busyID, "--to=codex", "--folder=/"}, "busy", "Wait for the conversation reply to finish."},
        {{claudeID, "--to=codex", "--folder=/", "--from=none"}, "messageNotFound", "has no message"},
    };
    for (auto [words, caseName, message] : cases) {
        words.insert(words.begin(), "new");
        expectFailure(words, caseName, message);
        expectFailure(words, caseName, "\nNothing was saved or sent.");
    }
    EXPECT_EQ(records(), before);
}

TEST_F(RelayCommandLine, AFirstMessageOfWhichNothingIsKnownWaitsUntilItIsFoundOrBound) {
    installCodex("/bin/false");
    const Words start{"new", claudeID, "--to", "codex", "--folder", home.path("bin"), "--last", "1"};
    expectFailure(start, "deliveryUnconfirmed",
                  "is not known, so it is not sent again. If it stands in a new");
    const std::string id = json::parse(run({"pending", "--json"}).out)[0]["id"];
    EXPECT_THAT(run({"pending"}).out,
                HasSubstr("Claude → new Codex  now  delivery unconfirmed  first message  " + id));
    EXPECT_EQ(run({"complete", "first"}).out, id + "\n");
    expectFailure(start, "pendingTransfer", "Nothing new was saved or sent.\nThe message is saved.");
    expectFailure({"retry", id}, "retryRefused", "can't be sent again");
    EXPECT_EQ(run({"copy-saved", id.substr(0, 8)}).out, "claude: d2");
    expectFailure({"bind", id, codexID}, "notBound", "\nThe first message waits as before.");
    expectFailure({"bind", "none", codexID}, "nothingPending", "“orvel-cli pending” prints the IDs.");

    const std::string pasted = "01a1fd20-0000-7000-8000-0000000000aa";
    write(".codex/sessions/new.jsonl", CodexTranscript({.id = pasted}).ask("cut short").answer("a").text());
    const auto bound = run({"bind", id.substr(0, 8), pasted});
    ASSERT_EQ(bound.status, 0) << bound.err;
    EXPECT_EQ(json::parse(run({"pending", "--json"}).out)[0]["link"],
              bound.out.substr(0, bound.out.find('\n')));

    // And one that is found by its text, once nothing from this conversation waits.
    write(".codex/sessions/new.jsonl", CodexTranscript({.id = pasted}).ask("claude: d2").answer("a").text());
    EXPECT_EQ(run({"receipts"}).status, 0);
    EXPECT_EQ(run({"pending", "--json"}).out, "[]\n");
    expectFailure(start, "deliveryUnconfirmed", "is not known");
    write(
        ".codex/sessions/newer.jsonl",
        CodexTranscript({.id = "01a1fd20-0000-7000-8000-0000000000bb"}).ask("claude: d2").answer("a").text());
    EXPECT_THAT(run({"receipts"}).out, HasSubstr("Seen  Claude → Codex"));
    EXPECT_EQ(run({"pending", "--json"}).out, "[]\n");
}

} // namespace
