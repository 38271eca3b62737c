// The relay session: pairs, drafts, copies, sending, retries and receipts.

#include "model/RelayFixture.h"

#include "OrvelCore/files/FileError.h"

#include <fstream>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr auto fullDisk = "The disk is full.";

class RelaySessionTest : public RelayFixture {
  protected:
    std::string statusTitle() { return workspaceSnapshot(model().view()).statusTitle(); }
};

// Pairs

TEST_F(RelaySessionTest, ConnectingWhatIsConnectedOpensItAndKeepsTheTypedNote) {
    pairUp(Agent::codex);
    model().workspace.setInstruction("stored");
    for (const char* expected : {"stored\n\ntyped", "stored\n\ntyped\n\ntyped"}) {
        model().workspace.chooseSource(found(Agent::codex));
        desktop.loop.run();
        model().workspace.setInstruction("typed");
        model().links.chooseEndpoint(found(Agent::claude));
        desktop.loop.run();
        EXPECT_EQ(session().instruction.get(), expected);
    }
    EXPECT_EQ(state().pairs.size(), 1U);
    EXPECT_EQ(model().notices.status(), "Opened the existing link. Nothing was sent.");
    EXPECT_TRUE(state().transfers.empty());
}

TEST_F(RelaySessionTest, DraftsAndTheOpenPairOutliveARestart) {
    pairUp(Agent::claude);
    model().workspace.setInstruction("do this\n");
    model().workspace.selectRange(session().conversation.get()->messages[1].id);
    desktop.loop.runFor(500ms);
    model().workspace.setInstruction("do this\nand");
    crash();
    model().links.restoreRelay();
    desktop.loop.run();
    ASSERT_TRUE(model().workspace.relay().activePair());
    model().chains.chooseWorkspaceRoute(workspaceSnapshot(model().view()).routes[1].id);
    desktop.loop.run();
    EXPECT_EQ(session().instruction.get(), "do this\n");
    EXPECT_EQ(model().workspace.relay().preview(), "do this\n\nclaude: d1");
}

TEST_F(RelaySessionTest, ADraftThatCannotBeSavedIsToldAndKeptInTheWindow) {
    pairUp(Agent::codex);
    failSaving();
    model().workspace.setInstruction("unsaved");
    desktop.loop.run();
    EXPECT_EQ(errorText(), "Couldn't save “" + statePath() + "”: No space left on device.");
    EXPECT_TRUE(model().ledger.hasUnsavedDraft());
    EXPECT_EQ(session().instruction.get(), "unsaved");
    for (const auto source : {Agent::claude, Agent::codex}) {
        model().workspace.openPair(*model().workspace.relay().activePair(), source);
        desktop.loop.run();
        EXPECT_TRUE(model().ledger.hasUnsavedDraft());
    }
    EXPECT_EQ(session().instruction.get(), "unsaved");
    failSaving(false);
    model().workspace.setInstruction("saved");
    EXPECT_TRUE(model().ledger.hasUnsavedDraft());
    desktop.loop.runFor(500ms);
    EXPECT_FALSE(model().ledger.hasUnsavedDraft());
    EXPECT_EQ(stateOnDisk().draft(model().workspace.relay().activePair()->id, Agent::codex).instruction,
              "saved");
}

TEST_F(RelaySessionTest, TypingNeverWaitsForTheDiskAndNoWordIsLostByIt) {
    pairUp(Agent::codex);
    const auto pair = *model().workspace.relay().activePair();
    desktop.files.duration = 3s;
    const auto type = [&](const std::string& text) {
        model().workspace.setInstruction(text);
        desktop.loop.runFor(100ms);
        EXPECT_EQ(session().instruction.get(), text);
        EXPECT_EQ(model().ledger.state().draft(pair.id, Agent::codex).instruction, text);
    };
    for (const auto* text : {"p", "pl", "ple", "plea", "pleas", "please"}) type(text);
    EXPECT_EQ(stateOnDisk().draft(pair.id, Agent::codex).instruction, "");
    model().workspace.openPair(pair, Agent::claude); // What was typed last is still being saved.
    desktop.loop.runFor(100ms);
    model().workspace.openPair(pair, Agent::codex);
    EXPECT_EQ(session().instruction.get(), "please");
    desktop.loop.run();
    EXPECT_EQ(stateOnDisk().draft(pair.id, Agent::codex).instruction, "please");
    EXPECT_FALSE(model().ledger.hasUnsavedDraft());
    EXPECT_LT(desktop.loop.longestHold().duration, 10ms);
}

TEST_F(RelaySessionTest, WhatIsTypedLastGoesIntoTheMessageAndTheSameSave) {
    pairUp(Agent::claude);
    int saves = 0;
    desktop.files.afterReplacing = [&](const std::string& path) { saves += path == statePath(); };
    model().workspace.setInstruction("last word");
    model().outbox.copy(desktop.pasteboard);
    desktop.loop.runFor(200ms);
    EXPECT_EQ(*onlyTransfer().payload, "last word\n\nme: c1\n\nclaude: d1");
    EXPECT_EQ(saves, 2) << "the message with the draft, then the draft emptied";
}

TEST_F(RelaySessionTest, RecordsThatCannotBeReadAreNeverWrittenOver) {
    folder.write("data/relay-state.json", "{broken");
    model().links.restoreRelay();
    desktop.loop.run();
    const auto words = errorText();
    EXPECT_TRUE(words.starts_with("Couldn't load links and transfer records. The original file is kept.\n"));
    model().notices.dismissError();
    model().links.chooseEndpoint(found(Agent::codex));
    desktop.loop.run();
    model().links.chooseEndpoint(found(Agent::claude));
    desktop.loop.run();
    EXPECT_EQ(errorText(), words);
    EXPECT_EQ(contentsOf(statePath()), "{broken");
}

// Copying

TEST_F(RelaySessionTest, ACopyIsSavedBeforeTheClipboardIsTouchedAndEndsWithItsReceipt) {
    pairUp(Agent::codex);
    model().workspace.setInstruction(" look ");
    failSaving();
    copy();
    EXPECT_EQ(desktop.pasteboard.text, std::nullopt);
    EXPECT_TRUE(state().transfers.empty());

    failSaving(false);
    desktop.pasteboard.refuses = true;
    copy();
    EXPECT_EQ(errorText(), "Couldn't copy. The message has been saved.");
    EXPECT_EQ(*onlyTransfer().payload, "look\n\nme: q1\n\ncodex: a1");

    desktop.pasteboard.refuses = false;
    model().outbox.copyPendingTransfer(desktop.pasteboard);
    EXPECT_EQ(desktop.pasteboard.text, *onlyTransfer().payload);
    EXPECT_EQ(model().notices.status(), "Saved message copied.");
    model().notices.dismissError();
    EXPECT_EQ(statusTitle(), "Waiting for paste");
    EXPECT_FALSE(workspaceSnapshot(model().view()).canCopy);
    checkReceipts();
    EXPECT_TRUE(onlyTransfer().isPending());

    arriveInClaude(*desktop.pasteboard.text);
    checkReceipts();
    EXPECT_FALSE(onlyTransfer().isPending());
    EXPECT_EQ(session().instruction.get(), "");
    EXPECT_EQ(model().workspace.relay().preview(), "");
    EXPECT_EQ(statusTitle(), "Up to date");
}

// Sending

TEST_F(RelaySessionTest, ASendIsSavedThenDeliveredThenTurnsTheRelayRound) {
    pairUp(Agent::codex);
    model().workspace.setInstruction("look");
    int saves = 0;
    desktop.files.afterReplacing = [&](const std::string& path) { saves += path == statePath(); };
    claude.during = [&] {
        EXPECT_EQ(saves, 1) << "a second save could fail and leave the message undelivered";
        EXPECT_EQ(*stateOnDisk().transfers.back().payload, claude.sent.back());
        EXPECT_EQ(stateOnDisk().transfers.back().retryable, false);
        EXPECT_EQ(statusTitle(), "Sending to Claude…");
        model().workspace.setInstruction("too late");
        model().workspace.openPair(*model().workspace.relay().activePair(), Agent::claude);
        model().outbox.sendRelay();
        model().receipts.checkRelayReceipts();
        EXPECT_FALSE(model().receipts.isChecking());
        EXPECT_EQ(session().instruction.get(), "look");
    };
    model().outbox.sendRelay();
    model().outbox.sendRelay(); // A person who presses twice sends once.
    desktop.loop.run();
    EXPECT_EQ(errorText(), "");
    EXPECT_EQ(claude.sent, std::vector<std::string>{"look\n\nme: q1\n\ncodex: a1"});
    EXPECT_EQ(onlyTransfer().deliveryMode, RelayDeliveryMode::submitted);
    EXPECT_TRUE(onlyTransfer().isPending());
    EXPECT_EQ(session().source.get(), Agent::claude);
    EXPECT_EQ(state().draft(onlyTransfer().pairID, Agent::codex), RelayDraft());
    EXPECT_FALSE(model().outbox.canSendRelay());

    arriveInClaude(claude.sent.front());
    checkReceipts();
    EXPECT_FALSE(onlyTransfer().isPending());
    claudeTranscript.answer("d2");
    writeTranscripts();
    checkReceipts();
    EXPECT_EQ(model().workspace.relay().preview(), "me: look\n\nclaude: d2");
}

TEST_F(RelaySessionTest, AFailedSendSaysWhetherItMayBeRepeated) {
    for (const bool canRetry : {false, true}) {
        SCOPED_TRACE(canRetry);
        crash();
        std::filesystem::remove(statePath());
        pairUp(Agent::codex);
        failToSend(canRetry);
        ASSERT_FALSE(claude.history.finished().empty());
        const auto attempt = claude.history.finished().back();
        const std::string words =
            canRetry ? "No.\nNo message was inserted. You can retry the saved message.\n"
                       "Claude's application does not know this conversation. Claude Code can take the "
                       "message, if you allow that in the settings."
                     : "No.";
        EXPECT_EQ(errorText(), words + "\n" + attempt.line().text());
        EXPECT_EQ(attempt.transferID.text(), onlyTransfer().id);
        EXPECT_NE(attempt.attemptID.text(), "Unknown");
        EXPECT_EQ(attempt.outcome.view(), canRetry ? "Stopped; retry before insertion allowed"
                                                   : "Stopped; automatic retry not allowed");
        EXPECT_EQ(model().notices.status(), "The message is kept. Recover with Retry or Copy saved message.");
        EXPECT_EQ(model().outbox.canSendRelay(), canRetry);
        EXPECT_TRUE(workspaceSnapshot(model().view()).isErrorOfPending);

        // So it stays after a restart.
        crash();
        model().links.restoreRelay();
        desktop.loop.run();
        EXPECT_EQ(model().outbox.canSendRelay(), canRetry);
    }
}

TEST_F(RelaySessionTest, ARetrySendsTheSavedMessageAgainAndNothingElse) {
    pairUp(Agent::codex);
    failToSend(true);
    model().workspace.setInstruction("for the next one");
    EXPECT_TRUE(model().workspace.relay().noteIsForNextTransfer());
    EXPECT_EQ(model().workspace.relay().nextRangeDescription(),
              "New messages: Showing messages after the saved message. This preview does not advance the "
              "delivery position.");
    send();
    ASSERT_EQ(claude.sent.size(), 2U);
    EXPECT_EQ(claude.sent[0], claude.sent[1]);
    EXPECT_EQ(state().transfers.size(), 1U);

    // The note outlives the receipt.
    arriveInClaude(claude.sent[0]);
    checkReceipts();
    pairUp(Agent::codex);
    EXPECT_EQ(session().instruction.get(), "for the next one");
    EXPECT_FALSE(model().workspace.relay().noteIsForNextTransfer());
}

TEST_F(RelaySessionTest, ARetryFirstLooksWhetherTheMessageHasArrived) {
    pairUp(Agent::codex);
    failToSend(true);
    model().workspace.setInstruction("next");
    arriveInClaude(claude.sent.front());
    send();
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_FALSE(onlyTransfer().isPending());
    EXPECT_EQ(session().instruction.get(), "next");
}

TEST_F(RelaySessionTest, AMessageOfInstructionsOnlyIsSentAgain) {
    pairUp(Agent::codex);
    copy();
    claudeTranscript.ask(*desktop.pasteboard.text).answer("d2");
    writeTranscripts();
    checkReceipts();
    model().workspace.setInstruction("And now?"); // There are no new messages.
    failToSend(true);
    EXPECT_EQ(*state().transfers.back().payload, "And now?");
    send();
    EXPECT_EQ(claude.sent, (std::vector<std::string>{"And now?", "And now?"}));
    EXPECT_EQ(errorText(), "");
}

TEST_F(RelaySessionTest, ARetryWhoseSourceHasGrownIsRefused) {
    pairUp(Agent::codex);
    failToSend(true);
    EXPECT_TRUE(workspaceSnapshot(model().view()).canSend);
    goOnInCodex();
    checkReceipts();
    const auto snapshot = workspaceSnapshot(model().view());
    EXPECT_EQ(snapshot.transferStanding, TransferStanding::outdated);
    EXPECT_FALSE(snapshot.canSend || snapshot.state.canRetry);
    EXPECT_EQ(snapshot.statusLine, std::nullopt) << "it advised Retry";
    EXPECT_EQ(snapshot.statusTitle(), "Not sent");
    send();
    EXPECT_EQ(errorText(), "Couldn't verify the original range of the saved message. Nothing will be resent. "
                           "Review the saved message.");
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_EQ(onlyTransfer().retryable, true);
}

TEST_F(RelaySessionTest, WhatStandsAgainstSendingLeavesNoRecord) {
    struct Case {
        const char* words;
        std::function<void()> arrange;
    };
    const std::vector<Case> cases{
        {"The conversation changed. Review the latest message range.", [&] { goOnInCodex(); }},
        {"Couldn't read “", [&] { std::filesystem::remove_all(folder.path("home/.claude/projects")); }},
        {"Couldn't save “", [&] { failSaving(); }},
    };
    for (const auto& [words, arrange] : cases) {
        SCOPED_TRACE(words);
        failSaving(false);
        writeTranscripts();
        pairUp(Agent::codex);
        arrange();
        const auto before = contentsOf(statePath());
        send();
        EXPECT_TRUE(errorText().starts_with(words)) << errorText();
        EXPECT_EQ(contentsOf(statePath()), before);
        EXPECT_TRUE(state().transfers.empty());
        EXPECT_TRUE(claude.sent.empty());
    }
    // The fresh reading is shown, so that the user can look and send.
    failSaving(false);
    pairUp(Agent::codex);
    EXPECT_EQ(session().conversation.get()->messages.size(), 4U);
}

TEST_F(RelaySessionTest, NothingIsSentFromAConversationAtWork) {
    pairUp(Agent::codex);
    codexTranscript.ask("q2");
    writeTranscripts();
    checkReceipts();
    EXPECT_FALSE(model().outbox.canSendRelay());
    codexTranscript.answer("a2");
    writeTranscripts();
    checkReceipts();
    EXPECT_TRUE(model().outbox.canSendRelay());
}

TEST_F(RelaySessionTest, NothingIsSentAgainstThePendingMessage) {
    pairUp(Agent::codex);
    claude.failure = RelaySendError("No.", true);
    model().outbox.sendRelay();
    desktop.loop.run();
    EXPECT_TRUE(model().outbox.canSendRelay());
    model().workspace.openPair(*model().workspace.relay().activePair(), Agent::claude);
    desktop.loop.run();
    EXPECT_FALSE(model().outbox.canSendRelay());
}

TEST_F(RelaySessionTest, AMessageThatGoesElsewhereWhileItIsPreparedIsNotSent) {
    desktop.loop.setBackgroundDuration(1s);
    for (const auto moment : {100ms, 1500ms}) { // While the source is read, and while the destination is.
        pairUp(Agent::codex);
        model().notices.dismissError();
        model().outbox.sendRelay();
        desktop.loop.runFor(moment);
        model().workspace.load(folder.path("home/.codex/sessions/2026/11/rollout-one.jsonl"));
        desktop.loop.run();
        EXPECT_TRUE(claude.sent.empty());
        EXPECT_TRUE(state().transfers.empty());
        EXPECT_EQ(errorText(), "The conversation changed. Review the latest message range.");
    }
}

TEST_F(RelaySessionTest, AFailedDeliveryIsFollowedByALookForItsReceipt) {
    pairUp(Agent::codex);
    claude.during = [&] { arriveInClaude(claude.sent.back()); };
    claude.failure = RelaySendError("No.");
    model().outbox.sendRelay();
    desktop.loop.run();
    EXPECT_FALSE(onlyTransfer().isPending());
    EXPECT_EQ(errorText(), "") << "it has not failed";
    EXPECT_TRUE(model().outbox.state().transferFailures->empty());
    EXPECT_EQ(model().notices.status(),
              "The message has arrived: it stands in the destination's transcript.");
}

TEST_F(RelaySessionTest, WhatCodexCannotTakeIsRefusedBeforeItIsSaved) {
    claudeTranscript.ask("long").answer(std::string(131'072, 'x'));
    writeTranscripts();
    pairUp(Agent::claude);
    const auto shown = workspaceSnapshot(model().view());
    EXPECT_FALSE(shown.canSend);
    EXPECT_TRUE(shown.canCopy);
    ASSERT_TRUE(shown.refusal);
    EXPECT_THAT(*shown.refusal, testing::HasSubstr("Codex takes 131,071 at most. Choose a later start"));
    send();
    EXPECT_EQ(errorText(), *shown.refusal);
    EXPECT_TRUE(state().transfers.empty());
    copy();
    EXPECT_EQ(desktop.pasteboard.text->size(), shown.previewSize);
    EXPECT_EQ(onlyTransfer().retryable, std::nullopt);

    pairUp(Agent::codex); // Claude takes it.
    EXPECT_EQ(workspaceSnapshot(model().view()).refusal, std::nullopt);
}

TEST_F(RelaySessionTest, ADeliveryWhoseRecordCannotBeSavedStaysPendingUntilItsReceipt) {
    pairUp(Agent::codex);
    claude.during = [&] { failSaving(); };
    send();
    EXPECT_TRUE(
        errorText().starts_with("The message was handed over to Claude, but that could not be saved. Do not "
                                "send it again.\nCouldn't save"))
        << errorText();
    EXPECT_EQ(model().notices.status(), "The message is kept. Recover with Retry or Copy saved message.");
    EXPECT_EQ(workspaceSnapshot(model().view()).transferStanding, TransferStanding::checking);
    EXPECT_FALSE(model().outbox.canSendRelay());
    failSaving(false);
    arriveInClaude(claude.sent.front());
    checkReceipts();
    EXPECT_FALSE(onlyTransfer().isPending());
}

// A draft that was left in Claude's editor

TEST_F(RelaySessionTest, SubmittingALeftDraftCountsOnlyWithItsReceipt) {
    struct Case {
        const char* name;
        bool arrivesBefore, arrivesDuring;
        std::optional<RelaySendError> failure;
        std::string status, error;
    };
    const std::string unconfirmed =
        "Delivery could not be confirmed. The saved message is kept; no automatic resend.";
    const std::vector<Case> cases{
        {"arrived before", true, false, std::nullopt, "Already delivered. Nothing was sent.", ""},
        {"arrives", false, true, std::nullopt, "Confirmed that Claude received the saved message.", ""},
        {"no receipt", false, false, std::nullopt, unconfirmed,
         "Couldn't confirm the message in the final receipt check. The saved message is kept; no automatic "
         "resend."},
        {"the sender fails", false, false, RelaySendError("Gone.", true), unconfirmed, "Gone."},
    };
    for (const auto& [name, arrivesBefore, arrivesDuring, failure, status, error] : cases) {
        SCOPED_TRACE(name);
        crash();
        std::filesystem::remove(statePath());
        codexTranscript.ask(name).answer(name);
        claudeTranscript.answer("ready");
        writeTranscripts();
        pairUp(Agent::codex);
        claude.submitted.clear();
        claude.during = nullptr;
        failToSend(false);
        claude.failure = failure;
        const auto payload = *onlyTransfer().payload;
        if (arrivesBefore) arriveInClaude(payload);
        if (arrivesDuring) claude.during = [&] { arriveInClaude(payload); };
        model().outbox.submitExistingClaudeDraft();
        desktop.loop.run();
        EXPECT_EQ(model().notices.status(), status);
        EXPECT_EQ(errorText(), error);
        EXPECT_EQ(claude.submitted.size(), arrivesBefore ? 0U : 1U);
        EXPECT_EQ(onlyTransfer().isPending(), !arrivesBefore && !arrivesDuring);
        EXPECT_EQ(onlyTransfer().retryable.value_or(false), false);
    }
}

TEST_F(RelaySessionTest, SubmittingALeftDraftThatFailsAtItsBeginningIsRecordedToo) {
    struct Case {
        const char* words;
        std::function<void()> arrange;
    };
    for (const auto& [words, arrange] :
         std::vector<Case>{{"Couldn't save “", [&] { failSaving(); }},
                           {"Couldn't read “",
                            [&] { std::filesystem::remove_all(folder.path("home/.claude/projects")); }}}) {
        SCOPED_TRACE(words);
        crash();
        std::filesystem::remove(statePath());
        failSaving(false);
        writeTranscripts();
        pairUp(Agent::codex);
        failToSend(true);
        arrange();
        model().outbox.submitExistingClaudeDraft();
        desktop.loop.run();
        EXPECT_TRUE(claude.submitted.empty());
        EXPECT_TRUE(errorText().starts_with(words)) << errorText();
        ASSERT_TRUE(model().outbox.state().failureOf(onlyTransfer().id));
        EXPECT_EQ(model().outbox.state().failureOf(onlyTransfer().id)->text, errorText());
        EXPECT_EQ(model().notices.status(),
                  "Delivery could not be confirmed. The saved message is kept; no automatic resend.");
        EXPECT_TRUE(model().outbox.state().mayRetry(onlyTransfer())) << "still nothing was inserted";
    }
    failSaving(false);
}

TEST_F(RelaySessionTest, SubmittingALeftDraftStopsWhenTheSelectionChanges) {
    pairUp(Agent::codex);
    failToSend(false);
    claude.asksForReceipt = true;
    claude.during = [&] { model().workspace.useManualInput(); };
    model().outbox.submitExistingClaudeDraft();
    desktop.loop.run();
    EXPECT_EQ(errorText(), "The selection or instructions changed. Stopped verifying the existing draft.");
}

TEST_F(RelaySessionTest, OnlyWhereAllowedClaudeCodeTakesWhatTheApplicationDoesNotKnow) {
    pairUp(Agent::codex);
    auto destination = found(Agent::claude);
    const auto& outbox = model().outbox.state();
    EXPECT_FALSE(outbox.goesThroughClaudeCode(destination));
    failToSend(true);
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_THAT(errorText(), testing::HasSubstr("Claude Code can take the message"));

    model().outbox.allowClaudeCode(true);
    send();
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_THAT(errorText(), testing::HasSubstr("“claude” was not found. Nothing was sent."));
    EXPECT_TRUE(outbox.mayRetry(onlyTransfer()));
    destination.desktopSessionID = "local_11111111-1111-4111-8111-111111111111";
    EXPECT_FALSE(outbox.goesThroughClaudeCode(destination));
    EXPECT_FALSE(outbox.goesThroughClaudeCode(found(Agent::codex)));
}

TEST_F(RelaySessionTest, ADeliveryIntoClaudeSaysWhatItIsAt) {
    pairUp(Agent::codex);
    EXPECT_EQ(model().outbox.deliveryStage(), std::nullopt);
    std::optional<std::string> atFirst, later;
    claude.during = [&] {
        atFirst = model().outbox.deliveryStage();
        claude.history.stage(ClaudeRelayDiagnosticHistory::Stage::insertion);
        later = model().outbox.deliveryStage();
    };
    send();
    EXPECT_EQ(atFirst, "Opening Claude…");
    EXPECT_EQ(later, "Writing into the editor…");
    EXPECT_EQ(model().outbox.deliveryStage(), std::nullopt);
    EXPECT_EQ(claude.history.finished().back().outcome.view(), "Completed");
}

TEST_F(RelaySessionTest, ALookAtTheEditorInClaudeIsToldWithoutContent) {
    std::vector<std::string> told;
    const auto look = [&](std::optional<RelaySendError> failure) {
        claude.failure = std::move(failure);
        model().outbox.diagnoseRelayComposer([&](const std::string& text) { told.push_back(text); });
        desktop.loop.run();
    };
    look(std::nullopt);
    EXPECT_TRUE(told.empty()); // There is no pair whose editor it could be.
    pairUp(Agent::codex);
    look(std::nullopt);
    look(RelaySendError("Unreadable."));
    EXPECT_THAT(told, testing::ElementsAre("Claude Code structural diagnostics (no content)\nCharacters=0",
                                           "Unreadable."));
    EXPECT_EQ(desktop.applications.activations, 2);

    // It and a send keep out of each other's way.
    model().outbox.diagnoseRelayComposer([&](const std::string& text) { told.push_back(text); });
    EXPECT_FALSE(model().outbox.canSendRelay());
    model().outbox.sendRelay();
    desktop.loop.run();
    EXPECT_EQ(told.size(), 3U);
    EXPECT_TRUE(claude.sent.empty());
    claude.failure.reset();
    model().outbox.sendRelay();
    model().outbox.diagnoseRelayComposer([&](const std::string& text) { told.push_back(text); });
    desktop.loop.run();
    EXPECT_EQ(claude.sent.size(), 1U);
    EXPECT_EQ(told.size(), 3U);
}

// Receipts

TEST_F(RelaySessionTest, ReceiptsAreCheckedEveryTwoSecondsByOnePassAtATime) {
    pairUp(Agent::codex);
    copy();
    model().receipts.startReceiptPolling();
    model().receipts.startReceiptPolling();
    arriveInClaude(*desktop.pasteboard.text);
    desktop.loop.runFor(1999ms);
    EXPECT_TRUE(onlyTransfer().isPending());
    desktop.loop.setBackgroundDuration(5s);
    desktop.loop.runFor(1ms);
    EXPECT_TRUE(model().receipts.isChecking());
    desktop.loop.runFor(15s); // One pass looks, then reads one file after another.
    EXPECT_FALSE(onlyTransfer().isPending());
}

TEST_F(RelaySessionTest, AnEditedDraftOutlivesTheReceipt) {
    pairUp(Agent::codex);
    model().workspace.setInstruction("first");
    copy();
    model().workspace.setInstruction("second");
    arriveInClaude(*desktop.pasteboard.text);
    checkReceipts();
    EXPECT_FALSE(onlyTransfer().isPending());
    EXPECT_EQ(session().instruction.get(), "second");
    EXPECT_EQ(stateOnDisk().draft(model().workspace.relay().activePair()->id, Agent::codex).instruction,
              "second");
    EXPECT_FALSE(model().workspace.relay().noteIsForNextTransfer());
}

TEST_F(RelaySessionTest, WhatIsTypedWhileAReceiptIsSavedStays) {
    pairUp(Agent::codex);
    model().outbox.copy(desktop.pasteboard);
    desktop.loop.run();
    arriveInClaude(*desktop.pasteboard.text);
    desktop.files.duration = 3s;
    model().receipts.checkRelayReceipts();
    desktop.loop.runFor(1s);
    model().workspace.setInstruction("next");
    desktop.loop.run();
    EXPECT_FALSE(onlyTransfer().isPending());
    EXPECT_EQ(session().instruction.get(), "next");
}

TEST_F(RelaySessionTest, AReceiptThatCannotBeSavedChangesNothing) {
    pairUp(Agent::codex);
    model().workspace.setInstruction("look");
    copy();
    arriveInClaude(*desktop.pasteboard.text);
    failSaving();
    checkReceipts();
    EXPECT_TRUE(onlyTransfer().isPending());
    EXPECT_TRUE(model().notices.status().starts_with(
        "The message has arrived, but its receipt could not be saved.\nCouldn't save"));
    EXPECT_EQ(workspaceSnapshot(model().view()).transferStanding, TransferStanding::receiptUnsaved);
    EXPECT_FALSE(model().receipts.isChecking());
    model().notices.say("quiet");
    checkReceipts();
    EXPECT_EQ(model().notices.status(), "quiet") << "told once";
    failSaving(false);
    checkReceipts();
    EXPECT_FALSE(onlyTransfer().isPending());
    EXPECT_TRUE(model().outbox.state().receiptProblems->empty());
}

TEST_F(RelaySessionTest, ABrokenDestinationKeepsNoOtherMessageFromItsReceipt) {
    constexpr auto secondID = "01a1fd20-0000-7000-8000-000000000009";
    const auto write = [&](const std::string& id, const char* question) {
        folder.write(
            "home/.codex/sessions/2026/11/rollout-" + id + ".jsonl",
            CodexTranscript({.id = id, .workingDirectory = "/code"}).ask(question).answer("a").text());
    };
    write(secondID, "q");
    pairUp(Agent::claude);
    copy();
    const auto broken = onlyTransfer().id;
    const auto firstPair = *model().workspace.relay().activePair();
    for (const auto& reference : model().catalogue.state().catalog.get())
        if (reference.agent == Agent::codex && reference.sessionID != firstPair.codex.sessionID)
            model().workspace.chooseSource(reference);
    desktop.loop.run();
    model().links.chooseEndpoint(found(Agent::claude));
    desktop.loop.run();
    copy();
    ASSERT_EQ(state().transfers.size(), 2U) << errorText();
    arriveInClaude(*desktop.pasteboard.text);
    // The destination of the first message no longer holds what was its last message.
    CodexTranscript another({.id = firstPair.codex.sessionID, .workingDirectory = "/code"});
    std::ofstream(firstPair.codex.transcriptPath) << another.ask("another").answer("past").text();
    checkReceipts();
    EXPECT_FALSE(state().transfers.back().isPending());
    EXPECT_TRUE(state().transfers.find(broken)->isPending());
    EXPECT_THAT(model().notices.status(), testing::HasSubstr("The last transfer position was not found"));
    EXPECT_TRUE(model().outbox.state().receiptProblemOf(broken));
    model().notices.say("quiet");
    for (int pass = 0; pass < 2; ++pass) checkReceipts();
    EXPECT_EQ(model().notices.status(), "quiet") << "told once";
}

TEST_F(RelaySessionTest, AQuietPassTellsTheScreensNothingButItself) {
    pairUp(Agent::codex);
    checkReceipts();
    const auto* shown = session().conversation.get().get();
    int told = 0;
    const auto subscription = model().changes().subscribe([&] { ++told; });
    checkReceipts();
    EXPECT_EQ(told, 2); // It begins and ends.
    EXPECT_EQ(session().conversation.get().get(), shown);
}

TEST_F(RelaySessionTest, AnUnpairedSourceAtWorkIsWatchedUntilItIsDone) {
    codexTranscript.ask("q2");
    writeTranscripts();
    model().links.chooseEndpoint(found(Agent::codex));
    desktop.loop.run();
    EXPECT_TRUE(session().conversation.get()->isBusy);
    codexTranscript.answer("a2");
    writeTranscripts();
    checkReceipts();
    EXPECT_FALSE(session().conversation.get()->isBusy);
    EXPECT_EQ(session().conversation.get()->messages.size(), 4U);

    codexTranscript.ask("q3");
    writeTranscripts();
    model().workspace.refresh();
    desktop.loop.run();
    desktop.loop.setBackgroundDuration(1s);
    model().receipts.checkRelayReceipts();
    model().workspace.useManualInput(); // What comes back is for nobody.
    desktop.loop.run();
    EXPECT_FALSE(session().conversation.get());
}

TEST_F(RelaySessionTest, WhatFindsNoThreadShowsItAndMayBeginAgain) {
    pairUp(Agent::codex);
    constexpr auto noThread = "Couldn't start a thread: Resource temporarily unavailable";
    const auto file = [&] { return found(session().source).transcriptPath; };
    const std::vector<std::pair<const char*, std::function<void()>>> operations{
        {"discover", [&] { model().catalogue.discoverConversations(); }},
        {"receipts", [&] { model().receipts.checkRelayReceipts(); }},
        {"send", [&] { model().outbox.sendRelay(); }},
        {"load", [&] { model().workspace.load(file()); }},
        {"open", [&] { model().workspace.openFile(file()); }}};
    for (const auto& [name, begin] : operations) {
        model().notices.dismissError();
        desktop.loop.setThreadsExhausted(true);
        begin();
        desktop.loop.run();
        EXPECT_EQ(errorText(), noThread) << name;
        desktop.loop.setThreadsExhausted(false);
        model().notices.dismissError();
        begin();
        EXPECT_FALSE(model().isIdle()) << name << " begins again";
        desktop.loop.run();
        EXPECT_EQ(errorText(), "") << name;
    }
}

TEST_F(RelaySessionTest, NoStatusTellsOfTheConversationBefore) {
    const auto line = [&] { return workspaceSnapshot(model().view()).statusLine; };
    const auto sayOfCodex = [&] {
        model().workspace.chooseSource(found(Agent::codex));
        desktop.loop.run();
        copy();
        EXPECT_TRUE(line().value_or("").starts_with("Copied")) << line().value_or("nothing");
    };
    const auto claudeFile = found(Agent::claude).transcriptPath;
    struct Case {
        const char* how;
        std::function<void()> open;
        std::optional<std::string> afterwards;
    };
    const std::vector<Case> cases{
        {"by its entry", [&] { model().workspace.chooseSource(found(Agent::claude)); }, std::nullopt},
        {"by its file", [&] { model().workspace.openFile(claudeFile); },
         "2 messages loaded. Check the destination and message range."},
        {"though it is gone",
         [&] {
             std::filesystem::remove(claudeFile);
             model().workspace.chooseSource(found(Agent::claude));
         },
         "Couldn't load the conversation."},
    };
    for (const auto& [how, openNext, afterwards] : cases) {
        sayOfCodex();
        openNext();
        EXPECT_EQ(line(), std::nullopt) << how << ", while it loads";
        desktop.loop.run();
        EXPECT_EQ(line(), afterwards) << how;
    }
}

} // namespace
} // namespace orvel
