// Commands that were typed in an agent's editor, and URLs: which link they belong to, what becomes of their
// instructions, and when a message goes out on its own.

#include "model/RelayFixture.h"

#include <gmock/gmock.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto desktopID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";
constexpr auto sendingStopped = "Automatic sending stopped. Review the message preview.";
constexpr auto forNext = "The pending message is kept. These instructions are for the next transfer.";

class CommandInboxTest : public RelayFixture {
  protected:
    void SetUp() override {
        RelayFixture::SetUp();
        desktop.loop.setBackgroundDuration(10ms);
        folder.write("config/Claude/claude-code-sessions/one/local_1.json",
                     std::string(R"({"sessionId":")") + desktopID + R"(","cliSessionId":")" + claudeID +
                         R"(","cwd":"/code/site","title":"Site"})");
    }

    /// Until the identified conversation is being loaded.
    void untilLoading() {
        EXPECT_TRUE(desktop.loop.runUntil([this] { return session().isLoading.get(); }, 1s));
    }

    /// A pair from Codex of which a message has been received.
    void proveItself() {
        pairUp(Agent::codex);
        send();
        arriveInClaude(claude.sent.back());
        claudeTranscript.answer("done");
        goOnInCodex();
        checkReceipts();
        ASSERT_EQ(state().transfers.back().status, RelayTransfer::Status::received) << errorText();
        claude.sent.clear();
        model().workspace.newLink();
        desktop.loop.run();
    }

    void give(const std::string& instruction, bool isRemoved = true) {
        model().commandInbox.receiveInterceptedCommand(
            {{instruction}, Agent::codex, found(Agent::codex), isRemoved});
    }

    void give(const std::string& instruction, Agent source,
              std::optional<CapturedConversationIdentity> identity) {
        model().commandInbox.receiveInterceptedCommand({{instruction}, source, std::move(identity), true});
    }

    /// Another conversation with Claude, and a link from Codex to it.
    void linkAnother() {
        ClaudeTranscript other({.id = otherID, .workingDirectory = "/code/site"});
        folder.write("home/.claude/projects/-code-site/" + otherID + ".jsonl",
                     other.ask("e").answer("f").text());
        model().catalogue.discoverConversations();
        desktop.loop.run();
        model().workspace.chooseSource(found(Agent::codex));
        desktop.loop.run();
        for (const auto& reference : model().catalogue.state().catalog.get())
            if (reference.sessionID == otherID) model().links.chooseEndpoint(reference);
        desktop.loop.run();
    }

    std::string url(const std::string& file, const std::string& id) const {
        return "orvel://handoff?source=codex&file=" + file + "&session_id=" + id + "&instruction=Go";
    }

    const std::string otherID = "5b0d714f-0000-4000-8000-000000000009";
};

// The automatic send

TEST_F(CommandInboxTest, SendsOnItsOwnWhereTheLinkHasProvedItself) {
    proveItself();
    give("And this.");
    desktop.loop.run();
    EXPECT_THAT(claude.sent, ElementsAre("And this.\n\nme: q2\n\ncodex: a2"));
    EXPECT_EQ(state().transfers.back().instruction, "And this.");
    EXPECT_EQ(errorText(), "");
}

TEST_F(CommandInboxTest, SendsFromClaudeWhatItsApplicationNames) {
    proveItself();
    give("Look.", Agent::claude, ClaudeDesktopID{desktopID});
    EXPECT_EQ(model().notices.status(), "Identifying the current Claude Code conversation.");
    desktop.loop.run();
    ASSERT_EQ(state().transfers.size(), 2U);
    EXPECT_EQ(state().transfers.back().source, Agent::claude);
    EXPECT_THAT(*state().transfers.back().payload, testing::StartsWith("Look.\n\n"));
}

TEST_F(CommandInboxTest, PlacesAndDoesNotSendWhereAnythingStandsAgainst) {
    struct Case {
        const char* name;
        std::function<void()> before, during;
        std::string says;
        bool isRemoved = true;
        std::string instruction = "Go.", shown = "Go.";
    };
    const std::string path = folder.path("home/.codex/sessions/2026/11/rollout-one.jsonl");
    const auto nothing = [] {};
    const auto edit = [this](std::string text) {
        untilLoading();
        model().workspace.setInstruction(std::move(text));
    };
    const std::string title = found(Agent::codex).title;
    const Case cases[] = {
        {"it still stands in the editor", nothing, nothing, title, false},
        {"the note is edited meanwhile", nothing, [&] { edit("Go. Or not."); }, sendingStopped, true, "Go.",
         "Go. Or not."},
        {"the note is edited and put back", nothing, [&] { edit("x"), edit("Go."); }, sendingStopped},
        {"the range is chosen meanwhile", nothing,
         [&] {
             untilLoading();
             model().workspace.selectRange("m");
         },
         sendingStopped},
        {"a failure is told meanwhile", nothing,
         [&] {
             untilLoading();
             model().notices.fail("The disk is full.");
         },
         sendingStopped},
        {"the source is at work", [this] { codexTranscript.ask("q9"), writeTranscripts(); }, nothing,
         "Automatic sending was skipped while a reply is in progress. Press Send after it finishes."},
        {"there is nothing to send",
         [this] {
             model().workspace.openPair(state().pairs.back(), Agent::codex);
             desktop.loop.run();
             send();
             arriveInClaude(claude.sent.back());
             checkReceipts();
             claude.sent.clear();
         },
         nothing, "Nothing was sent because there are no new messages or instructions.", true, "", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        TearDown();
        crash();
        std::filesystem::remove(statePath());
        codexTranscript = CodexTranscript({.id = codexID, .workingDirectory = "/code/compiler"});
        claudeTranscript = ClaudeTranscript({.id = claudeID, .workingDirectory = "/code/site"});
        RelayFixture::SetUp();
        proveItself();
        test.before();
        give(test.instruction, test.isRemoved);
        test.during();
        desktop.loop.run();
        EXPECT_THAT(claude.sent, IsEmpty());
        EXPECT_EQ(model().notices.status(), test.says);
        EXPECT_EQ(session().instruction.get(), test.shown);
        EXPECT_EQ(session().source.get(), Agent::codex);
    }
}

TEST_F(CommandInboxTest, SendsNothingBeforeTheFirstReceipt) {
    pairUp(Agent::codex);
    give("Go.");
    desktop.loop.run();
    EXPECT_THAT(claude.sent, IsEmpty());
    EXPECT_EQ(session().instruction.get(), "Go.");
    EXPECT_EQ(stateOnDisk().drafts.size(), 1U) << "saved, since nobody else has it";
}

TEST_F(CommandInboxTest, AnotherLoadMakesTheSendStale) {
    proveItself();
    const auto pair = state().pairs.back();
    give("Go.");
    untilLoading();
    model().workspace.openPair(pair, Agent::codex);
    desktop.loop.run();
    EXPECT_THAT(claude.sent, IsEmpty());
    EXPECT_EQ(session().instruction.get(), "Go.") << "placed all the same";
}

TEST_F(CommandInboxTest, CommandsInARowAreAllPlaced) {
    proveItself();
    give("One.");
    give("Two.");
    desktop.loop.run();
    EXPECT_THAT(claude.sent, ElementsAre("One.\n\nTwo.\n\nme: q2\n\ncodex: a2"));
}

// Where the instructions go

TEST_F(CommandInboxTest, InstructionsNeverDisturbAPendingMessage) {
    struct Case {
        const char* name;
        std::string note; ///< Typed behind the pending message.
        std::string instruction;
        std::string shown;
        bool isForNext;
    };
    const Case cases[] = {
        {"a note begins", "", "Next.", "Next.", true},
        {"a note goes on", "Then", "next.", "Then\n\nnext.", true},
        {"without instructions", "", "", "", false},
        {"a note stays", "Then", "", "Then", true},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        TearDown();
        crash();
        std::filesystem::remove(statePath());
        pairUp(Agent::codex);
        model().workspace.setInstruction("First.");
        failToSend(true);
        const auto pending = onlyTransfer();
        if (!test.note.empty()) model().workspace.setInstruction(test.note);
        model().notices.dismissError();
        give(test.instruction);
        desktop.loop.run();
        EXPECT_EQ(onlyTransfer(), pending);
        EXPECT_EQ(session().instruction.get(), test.shown);
        EXPECT_EQ(state().draft(pending.pairID, Agent::codex).isForNextTransfer(), test.isForNext);
        EXPECT_EQ(model().notices.status(), forNext);
        EXPECT_EQ(claude.sent.size(), 1U) << "nothing more";
        claude.sent.clear();
    }
}

TEST_F(CommandInboxTest, WithSeveralLinksThePersonChooses) {
    proveItself();
    const auto first = state().pairs.back().id;
    linkAnother();
    model().workspace.newLink();
    give("Go.");
    desktop.loop.run();
    EXPECT_FALSE(model().workspace.relay().activePair());
    EXPECT_EQ(session().instruction.get(), "Go.");
    EXPECT_EQ(model().notices.status(),
              "This conversation has multiple links. Choose the destination from the other card.");
    EXPECT_THAT(claude.sent, IsEmpty());

    // The one that is open is meant, whichever way it is turned.
    model().workspace.openPair(*state().pairs.find(first), Agent::claude);
    desktop.loop.run();
    give("Go.");
    desktop.loop.run();
    EXPECT_EQ(claude.sent.size(), 1U);
}

TEST_F(CommandInboxTest, WithoutALinkTheConversationIsLoaded) {
    give("One.");
    desktop.loop.run();
    EXPECT_EQ(session().conversation.get()->id, codexID);
    EXPECT_EQ(model().notices.status(),
              "Codex conversation loaded. Choose a destination conversation or start a new one.");
    const auto start = session().conversation.get()->messages[1].id;
    model().workspace.selectRange(start);
    give("Two.");
    desktop.loop.run();
    EXPECT_EQ(session().instruction.get(), "One.\n\nTwo.") << "the same conversation: what was typed stays";
    EXPECT_EQ(session().selectedStartMessageID.get(), start);

    give("Three.", Agent::claude, ClaudeDesktopID{desktopID});
    desktop.loop.run();
    EXPECT_EQ(session().instruction.get(), "Three.");
    EXPECT_EQ(session().conversation.get()->id, claudeID);
}

TEST_F(CommandInboxTest, WhatCouldNotBeIdentifiedIsPastedByThePerson) {
    give("Go.", Agent::claude, std::nullopt);
    EXPECT_EQ(session().instruction.get(), "Go.");
    EXPECT_EQ(model().notices.status(),
              "Claude /orvel received. Paste the regular Claude conversation with speaker names.");
    give("On.", Agent::codex, std::nullopt);
    EXPECT_EQ(session().instruction.get(), "On.");
    EXPECT_EQ(session().source.get(), Agent::codex);
    EXPECT_EQ(model().notices.status(), "Codex /orvel received. Choose the current conversation file or "
                                        "paste the conversation.");
}

TEST_F(CommandInboxTest, WhatWasKeptIsToldAfterACrashAndForgottenOncePlaced) {
    pairUp(Agent::codex);
    TaskScope tasks([](const auto& failure) { std::rethrow_exception(failure); });
    const auto restart = [this] {
        crash();
        model().links.restoreRelay();
        model().commandInbox.restore();
        desktop.loop.run();
    };
    tasks.start(model().commandInbox.keep({.command = {"Only copy"}}));
    desktop.loop.run();
    restart();
    EXPECT_EQ(errorText(),
              "Orvel ended before it was certain that a typed command reached its conversation. Look there "
              "first.\nReceived instructions: Only copy");
    restart();
    EXPECT_EQ(errorText(), "") << "told once";

    tasks.start(model().commandInbox.keep({.command = {"Placed"}}));
    desktop.loop.run();
    give("Placed");
    desktop.loop.run();
    restart();
    EXPECT_EQ(errorText(), "");
    EXPECT_EQ(session().instruction.get(), "Placed");

    tasks.start(model().commandInbox.keep({.command = {"Of a chat"}}));
    desktop.loop.run();
    give("Of a chat", Agent::claude, std::nullopt);
    desktop.loop.run();
    restart();
    EXPECT_EQ(errorText(), "") << "placed without a conversation";
}

// Failures

TEST_F(CommandInboxTest, EveryFailureRepeatsTheInstructions) {
    auto foreign = found(Agent::claude);
    auto gone = found(Agent::codex);
    gone.transcriptPath = folder.path("gone.jsonl");
    pairUp(Agent::codex);
    model().workspace.setInstruction("kept");
    const auto kept = "Couldn't identify the conversation. Existing instructions and transfer content are "
                      "kept.";
    struct Case {
        const char* name;
        Agent source;
        CapturedConversationIdentity identity;
        std::string error;
        bool isClaude = false;
    };
    const Case cases[] = {
        {"no such file", Agent::codex, gone, "locate the conversation"},
        {"another kind", Agent::codex, foreign, "The captured conversation type does not match."},
        {"another source", Agent::claude, gone, "The captured conversation type does not match.", true},
        {"a malformed identifier", Agent::claude, ClaudeDesktopID{"local_1"},
         "Couldn't verify the Claude Code conversation ID.", true},
        {"an identifier without its mark", Agent::claude, ClaudeDesktopID{std::string(desktopID).substr(6)},
         "Couldn't verify the Claude Code conversation ID.", true},
        {"an unknown identifier", Agent::claude,
         ClaudeDesktopID{"local_00000000-0000-4000-8000-000000000000"}, "conversation", true},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        give("Only\ncopy", test.source, test.identity);
        desktop.loop.run();
        EXPECT_THAT(errorText(), HasSubstr(test.error));
        EXPECT_THAT(errorText(), EndsWith("\nReceived instructions: Only\ncopy"));
        if (test.isClaude) {
            EXPECT_EQ(model().notices.status(), kept);
        }
        EXPECT_EQ(session().instruction.get(), "kept");
        model().notices.dismissError();
    }
}

TEST_F(CommandInboxTest, NothingIsSwitchedDuringATransfer) {
    proveItself();
    model().workspace.openPair(state().pairs.back(), Agent::codex);
    desktop.loop.run();
    const std::string refusal = "Couldn't switch conversations during a transfer.\nReceived instructions: Go";
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"a command", [&] { give("Go"); }},
        {"one without a conversation", [&] { give("Go", Agent::claude, std::nullopt); }},
        {"a URL", [&] { model().commandInbox.open("orvel://handoff?source=claude&instruction=Go"); }},
    };
    std::size_t number = 0;
    claude.during = [&] {
        cases[number].second();
        desktop.loop.runFor(1ms);
        EXPECT_EQ(errorText(), refusal) << cases[number].first;
        EXPECT_EQ(session().source.get(), Agent::codex);
        EXPECT_TRUE(model().workspace.relay().activePair());
    };
    for (; number < std::size(cases); ++number) {
        goOnInCodex();
        model().workspace.openPair(state().pairs.back(), Agent::codex);
        desktop.loop.run();
        send();
        arriveInClaude(claude.sent.back());
        claudeTranscript.answer("done");
        writeTranscripts();
        checkReceipts();
    }
    EXPECT_EQ(claude.sent.size(), 3U);
}

TEST_F(CommandInboxTest, WhoOpensSomethingElseMeanwhileStaysThere) {
    proveItself();
    give("Go.", Agent::claude, ClaudeDesktopID{desktopID});
    desktop.loop.runFor(1us);
    model().workspace.newLink();
    desktop.loop.run();
    EXPECT_EQ(errorText(), "Another conversation was opened while this one was being identified.\n"
                           "Received instructions: Go.");
    EXPECT_FALSE(session().sourceReference);
}

// URLs with an identity

TEST_F(CommandInboxTest, AURLWithAnIdentityOpensItsLinkAndNeverSends) {
    proveItself();
    const auto file = found(Agent::codex).transcriptPath;
    const auto link = folder.path("link.jsonl");
    std::filesystem::create_symlink(file, link);
    for (const auto& path : {file, link}) {
        model().workspace.newLink();
        model().commandInbox.open(url(path, codexID));
        EXPECT_EQ(model().notices.status(), "Codex conversation ID and transcript are being verified.");
        desktop.loop.run();
        EXPECT_EQ(errorText(), "");
        EXPECT_TRUE(model().workspace.relay().activePair());
    }
    EXPECT_EQ(session().instruction.get(), "Go\n\nGo");
    EXPECT_THAT(claude.sent, IsEmpty());
    EXPECT_EQ(desktop.applications.activations, 2);
}

TEST_F(CommandInboxTest, AURLThatNamesNoOneConversationChangesNothing) {
    pairUp(Agent::codex);
    model().workspace.setInstruction("kept");
    const auto file = found(Agent::codex).transcriptPath;
    const auto copy = folder.write("copy.jsonl", codexTranscript.text());
    const std::pair<std::string, std::string> cases[] = {
        {url(file, claudeID), "does not match the loaded transcript"},
        {url(copy, codexID), "does not match the loaded transcript"},
        {url(folder.path("gone.jsonl"), codexID), "gone.jsonl"},
    };
    for (const auto& [address, why] : cases) {
        model().commandInbox.open(address);
        desktop.loop.run();
        EXPECT_THAT(errorText(), HasSubstr(why));
        EXPECT_THAT(errorText(), EndsWith("\nThe conversation and saved transfers were not changed. "
                                          "Received instructions: Go"));
        EXPECT_EQ(session().instruction.get(), "kept");
    }
}

} // namespace
} // namespace orvel
