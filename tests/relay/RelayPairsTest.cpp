#include "relay/RelaySamples.h"

using namespace orvel;
using namespace samples;
using Case = RelayError::Case;
using Texts = std::vector<std::string>;

TEST(RelayPairs, refreshesTheActivePairAndNeverRevivesAClosedOne) {
    Desk desk;
    auto renamed = desk.codex.withTitle("New title");
    EXPECT_EQ(desk.state.pair(renamed, desk.claude, std::nullopt, desk.stamps).id, "P1");
    EXPECT_EQ(desk.state.pairs[0].codex.title, "New title");

    desk.state.archivePair("P1", 10);
    desk.state.archivePair("P1", 20);
    EXPECT_EQ(desk.state.pairs[0].archivedAt, 10) << "closing twice keeps the first date";
    const auto second = desk.state.pair(desk.codex, desk.claude, std::nullopt, desk.stamps);
    EXPECT_EQ(second.id, "NEW-1");
    EXPECT_EQ(second.speakerContext, RelaySpeakerContext());
    desk.state.archivePair(second.id, 30);
    desk.state.restorePair("P1");
    EXPECT_TRUE(desk.state.pairs[0].isActive());
    EXPECT_EQ(desk.state.archivedPairs().size(), 1u);
}

TEST(RelayPairs, followsLinksBetweenPathsButTakesNoOtherConversation) {
    Desk desk;
    auto moved = desk.codex;
    moved.transcriptPath = "/link/codex-1.jsonl";
    EXPECT_EQ(failureOf([&] { desk.state.updateReferences("P1", moved, desk.claude); }),
              Case::conversationMismatch)
        << "nobody knows yet where the link leads";
    moved.target.path = desk.codex.transcriptPath;
    desk.state.updateReferences("P1", moved, desk.claude);
    EXPECT_EQ(desk.state.pairs[0].codex.transcriptPath, moved.transcriptPath);
    moved.target.path = "/elsewhere/codex-1.jsonl";
    moved.transcriptPath = moved.target.path;
    EXPECT_EQ(failureOf([&] { desk.state.updateReferences("P1", moved, desk.claude); }),
              Case::conversationMismatch);
    EXPECT_EQ(failureOf([&] { desk.state.updateReferences("P1", desk.codex2, desk.claude); }),
              Case::conversationMismatch);
}

TEST(RelayPairs, beginsARangeWhereThePositionsSay) {
    Desk desk;
    const auto texts = [&](std::optional<std::string> start = std::nullopt) {
        return textsOf(desk.state.preview("P1", Agent::codex, desk.codexTalk, start));
    };
    desk.codexTalk.messages = {user("1"), user("2"), user("3")};
    EXPECT_EQ(texts(), (Texts{"user:1", "user:2", "user:3"}));
    desk.state.incomingStarts.set("P1:codex", "u:2");
    EXPECT_EQ(texts(), (Texts{"user:2", "user:3"})) << "an incoming start is included";
    desk.state.checkpoints.set("P1:codex", "u:2");
    EXPECT_EQ(texts(), (Texts{"user:3"})) << "a checkpoint counts first and is excluded";
    EXPECT_EQ(texts("u:1"), (Texts{"user:1", "user:2", "user:3"})) << "an explicit start reaches back";
    desk.state.checkpoints.set("P1:claude", "elsewhere");
    EXPECT_EQ(texts().size(), 1u);

    desk.codexTalk.messages.erase(desk.codexTalk.messages.begin() + 1);
    EXPECT_EQ(failureOf([&] { texts(); }), Case::missingCheckpoint)
        << "nothing searches for a similar message";
}

TEST(RelayPairs, sayThatACompactionTookThePosition) {
    const std::string summary =
        "This session is being continued from a previous conversation that ran out of "
        "context. It began with a question.";
    const std::pair<Message, bool> cases[] = {
        {user(summary), true}, {user("q3"), false}, {assistant(summary), false}};
    for (const auto& [first, isExplained] : cases) {
        Desk desk;
        desk.state.checkpoints.set("P1:claude", "gone");
        desk.claudeTalk.messages = {first, assistant("a3")};
        try {
            (void)desk.state.preview("P1", Agent::claude, desk.claudeTalk, std::nullopt);
            ADD_FAILURE();
        } catch (const RelayError& error) {
            EXPECT_EQ(error.kind(), Case::missingCheckpoint);
            EXPECT_EQ(std::string(error.what()).find("was compacted") != std::string::npos, isExplained);
        }
    }
}

TEST(RelayPairs, previewsTheTransferAfterThePendingOne) {
    Desk desk;
    const auto next = [&](std::optional<std::string> start = std::nullopt) {
        return textsOf(desk.state.previewNext("P1", Agent::codex, desk.codexTalk, start));
    };
    EXPECT_EQ(next(), (Texts{"user:q1", "assistant:a1"})) << "nothing is pending";
    desk.prepareFromCodex();
    EXPECT_EQ(next(), Texts());
    desk.codexTalk.messages.push_back(user("q3"));
    EXPECT_EQ(next(), (Texts{"user:q3"}));
    EXPECT_EQ(next("a:a1"), (Texts{"assistant:a1", "user:q3"}));
    desk.codexTalk.messages.erase(desk.codexTalk.messages.begin() + 1);
    EXPECT_EQ(failureOf([&] { next(); }), Case::missingCheckpoint);
}

TEST(RelayPairs, formsATransferOnce) {
    Desk desk;
    const auto transfer = desk.prepareFromCodex("  do it\n");
    EXPECT_EQ(*transfer.payload, "do it\n\nme: q1\n\ncodex: a1");
    EXPECT_EQ(transfer.instruction, "do it");
    EXPECT_EQ(transfer.sourceThrough, "a:a1");
    EXPECT_EQ(transfer.destinationBefore, "a:a2");
    EXPECT_EQ(transfer.createdAt, 1234.5);
    EXPECT_EQ(transfer.assistantLabel, "codex");
    EXPECT_EQ(transfer.retryable, std::nullopt);

    const auto once = desk.state;
    EXPECT_EQ(desk.prepareFromCodex("do it"), transfer);
    EXPECT_EQ(desk.state, once);
    EXPECT_EQ(failureOf([&] { desk.prepareFromCodex("other"); }), Case::pendingTransfer);
    EXPECT_EQ(failureOf([&] { desk.prepareFromCodex("do it", "u:q1"); }), Case::pendingTransfer);
    EXPECT_EQ(failureOf([&] { desk.prepareFromClaude(); }), Case::pendingTransfer);
    desk.codexTalk.messages.back().id = "a:again";
    EXPECT_EQ(failureOf([&] { desk.prepareFromCodex("do it"); }), Case::pendingTransfer) << "the same words";
    desk.codexTalk.messages.push_back({"u:late", "user", "late"});
    EXPECT_EQ(failureOf([&] { desk.prepareFromCodex("do it"); }), Case::pendingTransfer);
    EXPECT_EQ(desk.state, once);

    Desk empty;
    empty.codexTalk.messages.clear();
    empty.claudeTalk.messages.clear();
    empty.prepareFromCodex("go");
    EXPECT_EQ(failureOf([&] { empty.prepareFromClaude("go"); }), Case::pendingTransfer) << "the other way";
}

// A label is promised only by a text that bears it.
TEST(RelayPairs, freezesTheLabelOfAQuotedAssistant) {
    Desk desk;
    desk.codexTalk.messages.pop_back();
    desk.deliver(desk.prepareFromCodex());
    EXPECT_TRUE(desk.state.pairs[0].speakerContext->frozenLabels.empty());
    desk.codexTalk.messages.push_back(assistant("late"));
    desk.prepareFromCodex();
    EXPECT_EQ(desk.state.pairs[0].speakerContext->frozenLabels,
              (std::map<std::string, std::string>{{"codex:codex-1", "codex"}}));
}

TEST(RelayPairs, marksOnlyWhatIsStillUnderWay) {
    Desk desk;
    const auto id = desk.prepareFromCodex().id;
    desk.state.setRetryable(id, true);
    EXPECT_EQ(desk.state.transfers[0].retryable, true);
    desk.state.markSubmitted(id);
    EXPECT_EQ(desk.state.transfers[0].retryable, false);
    EXPECT_EQ(desk.state.transfers[0].deliveryMode, RelayDeliveryMode::submitted);
    EXPECT_TRUE(desk.state.transfers[0].isPending());
    desk.deliver(desk.state.transfers[0]);
    EXPECT_EQ(failureOf([&] { desk.state.setRetryable(id, true); }), Case::transferNotFound);
    EXPECT_EQ(failureOf([&] { desk.state.markSubmitted("none"); }), Case::transferNotFound);
}
