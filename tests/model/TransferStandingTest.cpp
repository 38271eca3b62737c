// How far a message has come, as window, sidebar and terminal are told: from the state alone, without a
// model.

#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "Orvel/model/SidebarContents.h"

namespace orvel {
namespace {

// What the rooms hold, and nobody who changes it.
struct Rooms {
    Rooms() {
        const ConversationReference codex{.agent = Agent::codex, .sessionID = "c"};
        const ConversationReference claude{.agent = Agent::claude, .sessionID = "d"};
        RelayState state;
        state.pairs.append(RelayPair{"P", codex, claude});
        ledger.relayState = std::move(state);
        workspace.selectedPairID = "P";
        workspace.sourceReference = codex;
    }

    void hold(RelayTransfer transfer) {
        auto state = ledger.relayState.get();
        state.transfers.append(std::move(transfer));
        ledger.relayState = std::move(state);
    }

    ModelView view() const {
        return {notices, ledger,    catalogue, readings,   workspace, relay,
                outbox,  creations, turns,     isChecking, now};
    }

    ChangeSignal changes;
    Notices notices{changes};
    LedgerState ledger{changes};
    CatalogueState catalogue{changes};
    ConversationReadings readings{changes};
    WorkspaceState workspace{changes};
    OpenRelay relay{workspace, ledger};
    MessageOperation operation{changes};
    OutboxState outbox{changes, operation, 131'071};
    NewConversationsState creations{changes};
    std::map<std::string, MainLoop::Duration> turns;
    Observable<bool> isChecking{changes};
    Date now = 0;
};

TEST(TransferStanding, IsToldAlikeEverywhere) {
    using Mode = RelayDeliveryMode;
    struct Row {
        const char* name;  // In the terminal, from the record alone.
        const char* inRun; // In the window, which also knows this run.
        const char* title;
        RelayTransfer transfer;
        std::optional<DeliveryFailure> failure;
        bool isSending = false;
        std::optional<ReceiptProblem> problem = {};
    };
    const auto saved = [](std::optional<Mode> mode, std::optional<bool> retryable) {
        RelayTransfer transfer{.id = "T", .pairID = "P"};
        transfer.deliveryMode = mode;
        transfer.retryable = retryable;
        return transfer;
    };
    auto received = saved(Mode::submitted, false);
    received.status = RelayTransfer::Status::received;
    const DeliveryFailure uncertain{"It broke.", false, "transfer=1"};
    const DeliveryFailure handedOver{.text = "It could not be saved.", .wasHandedOver = true};
    const ReceiptProblem gone{"The place is gone."}, seen{"It could not be saved.", true};
    const std::vector<Row> rows{
        {"waitingForPaste", "waitingForPaste", "Waiting for paste", saved(Mode::copied, std::nullopt), {}},
        {"unconfirmed", "delivering", "Sending to Claude…", saved(Mode::copied, false), {}, true},
        {"unconfirmed", "unconfirmed", "Delivery unconfirmed", saved(Mode::copied, false), {}},
        {"unconfirmed", "unconfirmed", "Delivery unconfirmed", saved(Mode::copied, false), uncertain},
        {"mayBeRetried", "mayBeRetried", "Not sent", saved(Mode::copied, true), {}},
        {"mayBeRetried", "mayBeRetried", "Not sent", saved(Mode::copied, true), uncertain},
        {"unconfirmed", "checking", "Delivery unconfirmed", saved(Mode::copied, false), handedOver},
        {"checking", "checking", "Delivery unconfirmed", saved(Mode::submitted, false), {}, false, gone},
        {"checking", "receiptUnsaved", "Receipt not saved", saved(Mode::submitted, false), {}, false, seen},
        {"mayBeRetried", "receiptUnsaved", "Receipt not saved", saved(Mode::copied, true), {}, false, seen},
        {"checking", "checking", "Checking delivery…", saved(Mode::submitted, false), {}},
        {"checking", "checking", "Checking delivery…", saved(std::nullopt, std::nullopt), {}},
        {"received", "received", "Up to date", received, {}},
    };
    for (const auto& [name, inRun, title, transfer, failure, isSending, problem] : rows) {
        SCOPED_TRACE(std::string(name) + ", " + title);
        Rooms rooms;
        rooms.hold(transfer);
        if (failure) rooms.outbox.transferFailures = {{"T", *failure}};
        if (problem) rooms.outbox.receiptProblems = {{"T", *problem}};
        std::optional<MessageOperation::Guard> sending;
        if (isSending) sending.emplace(rooms.operation.begin(MessageOperation::Kind::sending));

        EXPECT_EQ(nameOf(standingOf(transfer)), name);
        const auto snapshot = workspaceSnapshot(rooms.view());
        ASSERT_TRUE(snapshot.transferStanding);
        EXPECT_EQ(nameOf(*snapshot.transferStanding), inRun);
        EXPECT_EQ(snapshot.statusTitle(), title);
        EXPECT_EQ(snapshot.waitingForPaste, std::string_view(inRun) == "waitingForPaste");
        EXPECT_EQ(snapshot.pendingFailure, problem   ? std::optional(problem->text)
                                           : failure ? std::optional(failure->text)
                                                     : std::nullopt);
        EXPECT_EQ(snapshot.pendingAttempt, failure ? failure->attempt : std::nullopt);
        const auto links = sidebarLinks(rooms.view()).open;
        ASSERT_EQ(links.size(), 1U);
        EXPECT_EQ(links[0].standing, snapshot.transferStanding);
    }
}

TEST(TransferStanding, AdvisesRetryOnlyWhereItIsPossibleAndPastingWhereNothingWasTried) {
    using enum TransferStanding;
    for (const auto standing : {delivering, mayBeRetried, outdated, waitingForPaste, unconfirmed, checking,
                                receiptUnsaved, received}) {
        SCOPED_TRACE(nameOf(standing));
        EXPECT_EQ(remedyOf(standing) == TransferRemedy::retryOrCopy, standing == mayBeRetried);
        EXPECT_EQ(remedyOf(standing) == TransferRemedy::lookThenCopy, standing == unconfirmed);
        EXPECT_TRUE(situationOf(standing).starts_with("The message ")) << situationOf(standing);
        EXPECT_EQ(situationOf(standing).find("nothing was inserted") != std::string_view::npos,
                  standing == mayBeRetried || standing == outdated);
    }
}

TEST(TransferStanding, OnlyTheOpenPairsMessageIsUnderWay) {
    Rooms rooms;
    rooms.hold({.id = "T", .pairID = "P", .retryable = false});
    rooms.hold({.id = "U", .pairID = "Q", .deliveryMode = RelayDeliveryMode::submitted});
    const auto sending = rooms.operation.begin(MessageOperation::Kind::sending);
    const auto& transfers = rooms.ledger.relayState->transfers;
    EXPECT_EQ(rooms.outbox.standing(transfers[0], rooms.relay), TransferStanding::delivering);
    EXPECT_EQ(rooms.outbox.standing(transfers[1], rooms.relay), TransferStanding::checking);
}

} // namespace
} // namespace orvel
