#include "relay/RelaySamples.h"

namespace orvel {
namespace {

using namespace samples;
using Case = RelayError::Case;

const auto newClaude = reference(Agent::claude, "claude-new");
const RelayLinkAttachment behindP1{"P1", RelayLinkEnd::trailing};

// The new conversation, in which the first message has arrived.
Conversation landed(const RelayInitialTransfer& initial) {
    return conversation(newClaude, {{"first", "user", *initial.payload}});
}

TEST(RelayInitial, promisesNoNameThatItDoesNotQuote) {
    Desk desk;
    desk.codexTalk.messages.pop_back();
    const auto initial = desk.prepareInitial();
    EXPECT_EQ(initial.speakerContext, RelaySpeakerContext());
    EXPECT_EQ(initial.assistantLabel, "codex");
}

TEST(RelayInitial, bindingMakesThePairAndTheTransfer) {
    Desk desk;
    const auto initial = desk.prepareInitial();
    desk.state.markInitialRetryable(initial.id);
    const auto pair = desk.state.bindInitial(initial.id, newClaude, desk.stamps);
    const auto transfer = *desk.state.transfers.find(initial.id);
    EXPECT_EQ(pair.speakerContext, initial.speakerContext);
    EXPECT_EQ(transfer.pairID, pair.id);
    EXPECT_EQ(transfer.payload, initial.payload);
    EXPECT_EQ(transfer.destinationBefore, std::nullopt)
        << "the new conversation is scanned from its beginning";
    EXPECT_EQ(desk.state.initialTransfers[0].retryable, false);

    const auto bound = desk.state;
    EXPECT_EQ(desk.state.bindInitial(initial.id, newClaude, desk.stamps), pair) << "again";
    EXPECT_EQ(desk.state, bound);
    EXPECT_EQ(failureOf([&] { desk.state.bindInitial(initial.id, desk.claude2, desk.stamps); }),
              Case::conversationMismatch);
    auto elsewhere = newClaude;
    elsewhere.transcriptPath = "/elsewhere";
    EXPECT_EQ(failureOf([&] { desk.state.bindInitial(initial.id, elsewhere, desk.stamps); }),
              Case::conversationMismatch);
    EXPECT_EQ(failureOf([&] { desk.state.markInitialRetryable(initial.id); }), Case::pendingTransfer);

    desk.state.setRetryable(initial.id, true);
    desk.state.markInitialSubmitted(initial.id);
    EXPECT_EQ(desk.state.initialTransfers[0].deliveryMode, RelayDeliveryMode::submitted);
    EXPECT_EQ(desk.state.transfers.find(initial.id)->deliveryMode, RelayDeliveryMode::submitted);
    EXPECT_EQ(desk.state.transfers.find(initial.id)->retryable, false);
}

TEST(RelayInitial, nextTextBecomesTheDraftAtTheReceiptAndIsClosedThen) {
    Desk desk;
    const auto initial = desk.prepareInitial();
    desk.state.setInitialNextDraft(initial.id, "then", "u:q1");
    const auto pair = desk.state.bindInitial(initial.id, newClaude, desk.stamps);
    desk.state.setInitialNextInstruction(initial.id, "then this");
    ASSERT_TRUE(desk.state.reconcile(initial.id, landed(initial)));
    EXPECT_EQ(desk.state.draft(pair.id, Agent::codex), (RelayDraft{"then this", "u:q1", std::nullopt}));
    EXPECT_EQ(desk.state.initialTransfers[0].nextInstruction, std::nullopt);
    EXPECT_EQ(desk.state.initialTransfers[0].nextStartMessageID, std::nullopt);
    EXPECT_EQ(failureOf([&] { desk.state.setInitialNextInstruction(initial.id, "late"); }),
              Case::transferNotFound);
    EXPECT_EQ(failureOf([&] { desk.state.previewNextInitial(initial.id, desk.codexTalk); }),
              Case::transferNotFound);
}

TEST(RelayInitial, previewsWhatComesAfterIt) {
    Desk desk;
    const auto initial = desk.prepareInitial();
    desk.codexTalk.messages.push_back(user("q3"));
    const auto next = [&](std::optional<std::string> start = std::nullopt) {
        return textsOf(desk.state.previewNextInitial(initial.id, desk.codexTalk, start));
    };
    EXPECT_EQ(next(), (std::vector<std::string>{"user:q3"}));
    EXPECT_EQ(next("a:a1"), (std::vector<std::string>{"assistant:a1", "user:q3"}));
}

TEST(RelayInitial, joinsTheLinkThatItWasMadeFor) {
    Desk desk;
    const auto initial = desk.prepareInitial("begin", behindP1);
    EXPECT_EQ(initial.sourceNoteRevision, 0);
    desk.state.setInitialNextInstruction(initial.id, "then");
    EXPECT_EQ(desk.state.draft("P1", Agent::codex).instruction, "then")
        << "the note is shared with the anchor";

    const auto pair = desk.state.bindInitial(initial.id, newClaude, desk.stamps);
    ASSERT_EQ(desk.state.links.size(), 1u);
    const auto& link = desk.state.links[0];
    EXPECT_EQ(link.conversations, (std::vector{desk.claude, desk.codex, newClaude}));
    EXPECT_EQ(link.pairIDs, (std::vector<std::string>{"P1", pair.id}));
    EXPECT_EQ(pair.speakerContext, link.speakerContext);
    EXPECT_EQ(link.speakerContext.label(newClaude), "claude 2");

    desk.state.setInitialNextInstruction(initial.id, "then that");
    EXPECT_EQ(desk.state.links[0].note(desk.codex)->instruction, "then that");
    ASSERT_TRUE(desk.state.reconcile(initial.id, landed(initial)));
    EXPECT_EQ(desk.state.draft("P1", Agent::codex).instruction, "then that") << "the edited note survives";
}

// The note of the new link has the revision that went out, and the text that went out, but is meant for the
// next one.
TEST(RelayInitial, nextTextSurvivesThoughItEqualsTheSentOne) {
    Desk desk;
    const auto initial = desk.prepareInitial("begin", behindP1);
    desk.state.setInitialNextInstruction(initial.id, "begin");
    const auto pair = desk.state.bindInitial(initial.id, newClaude, desk.stamps);
    ASSERT_EQ(desk.state.links[0].note(desk.codex)->revision, initial.sourceNoteRevision);
    ASSERT_TRUE(desk.state.reconcile(initial.id, landed(initial)));
    EXPECT_EQ(desk.state.draft(pair.id, Agent::codex).instruction, "begin");
}

// Changing the next text and sharing it with the anchor are one change.
TEST(RelayInitial, failedSharingOfTheNoteChangesNothing) {
    Desk desk;
    const auto initial = desk.prepareInitial("begin", behindP1);
    desk.state.initialTransfers.change(
        initial.id, [](RelayInitialTransfer& changed) { changed.linkAttachment->anchorPairID = "gone"; });
    const auto before = desk.state;
    EXPECT_EQ(failureOf([&] { desk.state.setInitialNextInstruction(initial.id, "x"); }), Case::pairNotFound);
    EXPECT_EQ(failureOf([&] { desk.state.setInitialNextDraft(initial.id, "x", "y"); }), Case::pairNotFound);
    EXPECT_EQ(desk.state, before);
}

} // namespace
} // namespace orvel
