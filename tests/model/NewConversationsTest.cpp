#include "model/RelayFixture.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

// The command `codex exec`, as far as a test wants it.
struct ExecManner {
    std::string printed = R"({"type":"thread.started","thread_id":"01a1fd20-0000-7000-8000-0000000000aa"})";
    bool records = true, isDistorted = false, ends = true;
    int status = 0;
    MainLoop::Duration turn = 5s;
};

struct CodexApplication : SimulatedApplication {
    CodexApplication() : SimulatedApplication("com.example.codex", "1", "/Applications/Codex.app") {}
    bool takesURL(const std::string& url) override { return url.starts_with("codex://"); }
};

class NewConversationsTest : public RelayFixture {
  protected:
    static constexpr auto newCodexID = "01a1fd20-0000-7000-8000-0000000000aa";
    static constexpr auto newClaudeID = "5b0d714f-0000-4000-8000-0000000000aa";

    void SetUp() override {
        RelayFixture::SetUp();
        desktop.processes.environment["PATH"] = "/tools";
        desktop.processes.programs["/tools/codex"] =
            [this](SimulatedChildSide side, const ChildLaunch& launch) -> std::unique_ptr<SimulatedProgram> {
            return std::make_unique<Exec>(side, *this, *launch.unattendedInput);
        };
        desktop.applications.install(application);
        work = folder.path("work");
        std::filesystem::create_directories(work);
    }

    struct Exec : SimulatedProgram {
        Exec(SimulatedChildSide side, NewConversationsTest& test, std::string text)
            : SimulatedProgram(side), test(test), text(std::move(text)) {}
        void started() override {
            side.write(test.manner.printed + "\n");
            side.after(1s, [this] {
                if (test.manner.records) test.recordCodex(text + (test.manner.isDistorted ? "?" : ""), false);
            });
            side.after(test.manner.turn, [this] {
                if (!test.manner.ends) return;
                if (test.manner.records) test.recordCodex(text, true);
                side.exit(test.manner.status);
            });
        }
        NewConversationsTest& test;
        std::string text;
    };

    void recordCodex(const std::string& text, bool isAnswered) {
        CodexTranscript made({.id = newCodexID, .workingDirectory = work});
        made.ask(text);
        if (isAnswered) made.answer("done");
        folder.write("home/.codex/sessions/2026/11/rollout-new.jsonl", made.text());
    }
    void recordClaude(const std::string& text, const std::string& id = newClaudeID) {
        ClaudeTranscript made({.id = id, .workingDirectory = "/code/site"});
        made.ask(text).answer("done");
        folder.write("home/.claude/projects/-code-site/" + id + ".jsonl", made.text());
    }
    ConversationReference reference(Agent agent, const std::string& id) {
        model().catalogue.discoverConversations();
        desktop.loop.run();
        for (const auto& each : model().catalogue.state().catalog.get())
            if (each.agent == agent && each.sessionID == id) return each;
        ADD_FAILURE() << "no conversation " << id;
        return {};
    }

    void open(Agent source) {
        model().workspace.chooseSource(found(source));
        desktop.loop.run();
        if (source == Agent::claude) model().workspace.setCreationFolder(work);
        model().workspace.setInstruction("Begin here.");
    }
    void start() {
        model().send();
        desktop.loop.run();
    }
    const RelayInitialTransfer& initial() { return state().initialTransfers.back(); }

    CodexApplication application;
    ExecManner manner;
    std::string work;
};

TEST_F(NewConversationsTest, AConversationWithCodexIsStartedProvedAndShownWhenItsTurnHasEnded) {
    open(Agent::claude);
    EXPECT_EQ(workspaceSnapshot(model().view()).primaryTitle, "Start in Codex");
    int saved = 0;
    desktop.processes.onStart = [&](const ChildLaunch& launch) {
        EXPECT_THAT(launch.arguments,
                    testing::ElementsAre("exec", "--json", "--skip-git-repo-check", "-C", work, "-"));
        saved += stateOnDisk().initialTransfers.size() == 1 &&
                 stateOnDisk().initialTransfers[0].deliveryMode == RelayDeliveryMode::submitted;
    };
    model().send();
    desktop.loop.runFor(3s);
    EXPECT_EQ(saved, 1) << "saved as submitted before anything is started";
    ASSERT_TRUE(model().workspace.relay().activePair()) << errorText();
    EXPECT_EQ(session().source.get(), Agent::codex) << "the workspace has turned round";
    EXPECT_EQ(model().workspace.relay().activePair()->codex.sessionID, newCodexID);
    EXPECT_EQ(model().view().watchedTurns.count(newCodexID), 1U);
    EXPECT_TRUE(desktop.applications.openedURLs.empty());
    desktop.loop.run();
    EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::received);
    EXPECT_THAT(desktop.applications.openedURLs,
                testing::ElementsAre("codex://threads/" + std::string(newCodexID)));
    EXPECT_EQ(model().notices.status(), "Opening in Codex.");
    EXPECT_TRUE(workspaceSnapshot(model().view()).canOpenCodex);
}

TEST_F(NewConversationsTest, WhatCanNotBeStartedIsNotEvenSaved) {
    open(Agent::claude);
    model().workspace.setCreationFolder(folder.path("gone"));
    start();
    EXPECT_EQ(errorText(), "Check Codex CLI and the working folder.");
    EXPECT_TRUE(state().initialTransfers.empty());
    model().workspace.setCreationFolder(work);
    desktop.processes.programs.clear();
    start();
    EXPECT_TRUE(state().initialTransfers.empty());
    EXPECT_EQ(session().instruction.get(), "Begin here.");
}

TEST_F(NewConversationsTest, AStartThatEndsOtherwiseIsNeverRepeatedByItself) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        bool mayRetry;
        const char* says;
    };
    const Case cases[] = {
        {"no thread is printed", [&] { manner = {.printed = "nonsense", .records = false, .turn = 1s}; },
         false, "Couldn't confirm delivery in the new Codex conversation."},
        {"nothing is recorded", [&] { manner = {.records = false}; }, false, "Couldn't confirm delivery"},
        {"something else is recorded", [&] { manner = {.isDistorted = true, .ends = false}; }, false,
         "Couldn't confirm delivery"},
        {"it can't be started",
         [&] {
             desktop.processes.beforeStep = [](std::string_view step) {
                 if (step == "start") throw ProcessError(ProcessError::Case::launchFailed, "No.");
             };
         },
         true, "Couldn't start Codex."},
    };
    for (const auto& [name, prepare, mayRetry, says] : cases) {
        SCOPED_TRACE(name);
        crash();
        std::filesystem::remove(statePath());
        std::filesystem::remove(folder.path("home/.codex/sessions/2026/11/rollout-new.jsonl"));
        manner = {};
        prepare();
        open(Agent::claude);
        start();
        desktop.processes.beforeStep = nullptr;
        EXPECT_THAT(errorText(), HasSubstr(says));
        EXPECT_EQ(model().notices.status(),
                  "Couldn't confirm conversation creation. Use Copy saved message to recover.");
        ASSERT_EQ(state().initialTransfers.size(), 1U);
        const auto shown = workspaceSnapshot(model().view());
        EXPECT_EQ(shown.canSend, mayRetry);
        EXPECT_EQ(shown.pendingMessage, *initial().payload);
        const auto launches = desktop.processes.launches.size();
        if (!mayRetry) start();
        EXPECT_EQ(desktop.processes.launches.size(), launches);
        if (!mayRetry) continue;
        manner = {};
        start();
        EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::received) << errorText();
    }
}

TEST_F(NewConversationsTest, AConversationThatShowsUpLateIsFoundByItsTextAlsoAfterARestart) {
    manner = {.records = false, .turn = 1s};
    open(Agent::claude);
    start();
    ASSERT_TRUE(initial().isPending());
    const auto text = *initial().payload;
    crash();
    recordCodex(text, true);
    model().links.restoreRelay();
    desktop.loop.run();
    ASSERT_TRUE(model().workspace.relay().activePair()) << errorText();
    EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::received);
    EXPECT_EQ(onlyTransfer().id, initial().id);
    EXPECT_EQ(session().source.get(), Agent::codex);
}

TEST_F(NewConversationsTest, APastedMessageIsBoundToTheOneNewConversationThatHoldsIt) {
    open(Agent::codex);
    model().copy(desktop.pasteboard);
    desktop.loop.run();
    ASSERT_EQ(state().initialTransfers.size(), 1U) << errorText();
    EXPECT_EQ(desktop.pasteboard.text, *initial().payload);
    EXPECT_EQ(session().instruction.get(), "");
    EXPECT_EQ(model().notices.status(),
              "Waiting for paste — Paste into a new conversation, then select it from "
              "the destination card.");
    EXPECT_EQ(workspaceSnapshot(model().view()).statusTitle(), "Waiting for paste");
    model().workspace.setInstruction("And then this.");
    const auto text = *initial().payload;

    // The one that existed before is never taken, and neither is one of two.
    claudeTranscript.ask(text);
    writeTranscripts();
    checkReceipts();
    EXPECT_TRUE(initial().isPending());
    recordClaude(text);
    recordClaude(text, "5b0d714f-0000-4000-8000-0000000000bb");
    checkReceipts();
    EXPECT_TRUE(initial().isPending());
    std::filesystem::remove(
        folder.path("home/.claude/projects/-code-site/5b0d714f-0000-4000-8000-0000000000bb.jsonl"));
    checkReceipts();
    ASSERT_FALSE(initial().isPending()) << model().notices.status();
    EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::received);
    const auto pair = *model().workspace.relay().activePair();
    EXPECT_EQ(pair.claude.sessionID, newClaudeID);
    EXPECT_EQ(state().draft(pair.id, Agent::codex).instruction, "And then this.");
}

TEST_F(NewConversationsTest, ThePersonMayPickTheConversationButNoneThatExistedBefore) {
    open(Agent::codex);
    model().copy(desktop.pasteboard);
    desktop.loop.run();
    model().links.chooseEndpoint(found(Agent::claude));
    desktop.loop.run();
    EXPECT_EQ(errorText(), RelayError(RelayError::Case::destinationAlreadyExisted).what());
    EXPECT_TRUE(initial().isPending());
    recordClaude("Something shortened.");
    const auto picked = reference(Agent::claude, newClaudeID);
    model().links.chooseEndpoint(picked);
    desktop.loop.run();
    ASSERT_TRUE(model().workspace.relay().activePair()) << errorText();
    EXPECT_EQ(initial().boundPairID, model().workspace.relay().activePair()->id);
    EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::awaitingReceipt) << "picked is not received";
}

TEST_F(NewConversationsTest, ClaudeStartsOneThroughItsApplication) {
    open(Agent::codex);
    claude.during = [&] {
        recordClaude(claude.sent.back());
        claude.started = {.agent = Agent::claude,
                          .sessionID = newClaudeID,
                          .title = "New",
                          .transcriptPath = folder.path("home/.claude/projects/-code-site/" +
                                                        std::string(newClaudeID) + ".jsonl")};
    };
    start();
    EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::received) << errorText();
    EXPECT_EQ(claude.sent.size(), 1U);

    // Nothing is certain: the message is kept, and found by its text.
    model().workspace.chooseSource(found(Agent::codex));
    desktop.loop.run();
    model().workspace.setInstruction("Once more.");
    claude.during = nullptr;
    claude.failure = RelaySendError("Lost.", false);
    start();
    ASSERT_TRUE(initial().isPending());
    recordClaude(claude.sent.back(), "5b0d714f-0000-4000-8000-0000000000bb");
    checkReceipts();
    EXPECT_FALSE(initial().isPending());
    EXPECT_EQ(claude.sent.size(), 2U);
    claude.failure.reset();
}

TEST_F(NewConversationsTest, ANewOneTakesTheOtherCardOrAnEndOfTheLinkAndNothingThatWaitsIsTouched) {
    pairUp(Agent::claude);
    model().workspace.setInstruction("Begin here.");
    const auto pair = model().workspace.relay().activePair()->id;
    model().newConversations.useNewDestination(Agent::codex);
    desktop.loop.run();
    EXPECT_FALSE(model().workspace.relay().activePair());
    EXPECT_EQ(session().instruction.get(), "Begin here.");
    EXPECT_TRUE(workspaceSnapshot(model().view()).needsFolder);

    model().workspace.openPair(*state().pairs.find(pair), Agent::claude);
    desktop.loop.run();
    ASSERT_TRUE(model().chains.beginNewRelayConversation(RelayLinkEnd::leading, pair)) << errorText();
    desktop.loop.run();
    EXPECT_EQ(model().notices.status(), "Adding a new Codex conversation to the link.");
    model().workspace.setCreationFolder(work);
    start();
    ASSERT_TRUE(model().workspace.relay().activeChain()) << errorText();
    const auto cards = workspaceSnapshot(model().view()).endpoints;
    ASSERT_EQ(cards.size(), 3U);
    EXPECT_EQ(cards[0].name, "Codex 2");
    EXPECT_EQ(cards[0].role, "From");
    EXPECT_EQ(onlyTransfer().status, RelayTransfer::Status::received);
}

TEST_F(NewConversationsTest, ACommandBehindAFirstMessageIsKeptForTheNextTransfer) {
    open(Agent::codex);
    model().copy(desktop.pasteboard);
    desktop.loop.run();
    model().workspace.newLink();
    for (const char* note : {"one", "two"}) {
        model().commandInbox.receiveInterceptedCommand({.command = {.instruction = note},
                                                        .source = Agent::codex,
                                                        .identity = found(Agent::codex),
                                                        .isRemoved = true});
        desktop.loop.run();
    }
    EXPECT_EQ(model().notices.status(),
              "The initial message is kept. These instructions were saved for the next transfer.");
    EXPECT_EQ(session().instruction.get(), "one\n\ntwo");
    EXPECT_EQ(stateOnDisk().initialTransfers[0].nextInstruction, "one\n\ntwo");
    EXPECT_TRUE(workspaceSnapshot(model().view()).nextRange);
}

TEST_F(NewConversationsTest, TheIdentifierStandsInAnEventOfItsOwn) {
    const auto id = [](std::string_view output) {
        return CodexConversationStart::startedThreadID(output).value_or("none");
    };
    EXPECT_EQ(id(""), "none");
    EXPECT_EQ(id("warning\n{\"type\":\"thread.started\",\"thread_id\":\"a\"}\n"), "a");
    EXPECT_EQ(id("{\"type\":\"turn.started\",\"thread_id\":\"a\"}"), "none");
    EXPECT_EQ(id("{\"type\":\"thread.started\",\"thread_id\":7}\n[1]\n{\"type\":3}"), "none");
    EXPECT_EQ(id("{\"type\":\"thread.started\",\"thread_id\":\"a\"}\n{\"type\":\"thread.started\",\"thread_"
                 "id\":\"b\"}"),
              "a");
}

} // namespace
} // namespace orvel
