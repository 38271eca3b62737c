// Each operation reports the failure that comes first in its order of checks. For every operation there is a
// list of obstacles in that order; each is tried alone, then each two together, and the former one decides.

#include "relay/RelaySamples.h"

#include <functional>

namespace orvel {
namespace {

using namespace samples;
using enum RelayError::Case;

// A chain claude - codex - claude2 of the pairs P1 and P2, the lone pair P3 of codex2 and claude3 with its
// closed twin P4, and the arguments of a call that succeeds.
struct Call : Desk {
    ConversationReference claude3 = reference(Agent::claude, "claude-3");
    ConversationReference newcomer = reference(Agent::claude, "claude-4");
    std::string pairID = "P1", otherID = "P3", linkID = "L", recordID;
    ConversationReference subject = codex;
    Conversation talk = codexTalk, destination = claudeTalk;
    std::string instruction = "go";
    std::optional<std::string> start;
    std::optional<RelayLinkAttachment> attachment;
    RelayLinkEnd end = RelayLinkEnd::trailing;
    std::vector<std::string> existing;

    Call() {
        stamps.newID = [i = 0]() mutable {
            return std::vector<std::string>{"P2", "L", "NEW"}.at(std::size_t(std::min(i++, 2)));
        };
        state.extendLink("P1", RelayLinkEnd::trailing, claude2, stamps);
        addPair("P3", codex2, claude3);
        addPair("P4", codex2, claude3, 5);
    }

    void addOldPair(const std::string& id, const ConversationReference& withCodex,
                    const ConversationReference& withClaude) {
        state.pairs.append(RelayPair{id, withCodex, withClaude, std::nullopt, std::nullopt});
    }

    void addPending(const std::string& id, const std::string& inPair, Agent source = Agent::codex) {
        RelayTransfer transfer;
        transfer.id = id;
        transfer.pairID = inPair;
        transfer.source = source;
        transfer.payload = "pending";
        state.transfers.append(transfer);
    }

    void addPendingInitial(const std::string& id, const ConversationReference& source,
                           const std::optional<RelayLinkAttachment>& at = std::nullopt) {
        RelayInitialTransfer initial;
        initial.id = id;
        initial.sourceReference = source;
        initial.destinationAgent = other(source.agent);
        initial.payload = "pending";
        initial.linkAttachment = at;
        state.initialTransfers.append(initial);
    }

    void archiveChain() {
        state.links.change("L", [](RelayLink& link) { link.archivedAt = 1; });
        for (const auto* id : {"P1", "P2"})
            state.pairs.change(id, [](RelayPair& pair) { pair.archivedAt = 1; });
    }
};

struct Obstacle {
    const char* what;
    RelayError::Case failure;
    std::function<void(Call&)> lay;
};

using Run = std::function<void(Call&)>;

void expectFirstObstacleDecides(const char* operation, const Run& prepareCall,
                                const std::vector<Obstacle>& obstacles, const Run& run) {
    SCOPED_TRACE(operation);
    Call free;
    prepareCall(free);
    EXPECT_EQ(failureOf([&] { run(free); }), std::nullopt);
    for (std::size_t first = 0; first < obstacles.size(); ++first) {
        for (std::size_t second = first; second < obstacles.size(); ++second) {
            Call call;
            prepareCall(call);
            obstacles[second].lay(call);
            if (first != second) obstacles[first].lay(call);
            const auto before = call.state;
            EXPECT_EQ(failureOf([&] { run(call); }), obstacles[first].failure)
                << obstacles[first].what << ", with " << obstacles[second].what;
            EXPECT_TRUE(call.state == before) << obstacles[first].what;
        }
    }
}

const Obstacle noPair{"no such pair", pairNotFound, [](Call& c) { c.pairID = "none"; }};
const Obstacle noRecord{"no such record", transferNotFound, [](Call& c) { c.recordID = "none"; }};
const Obstacle otherSource{"another source", conversationMismatch, [](Call& c) { c.talk.id = "other"; }};
const Obstacle otherDestination{"another destination", conversationMismatch,
                                [](Call& c) { c.destination.id = "other"; }};
const Obstacle forkedDestination{"forked destination", ambiguousBranches,
                                 [](Call& c) { c.destination.hasAmbiguousBranches = true; }};
const Obstacle busySource{"busy source", busy, [](Call& c) { c.talk.isBusy = true; }};
const Obstacle forkedSource{"forked source", ambiguousBranches,
                            [](Call& c) { c.talk.hasAmbiguousBranches = true; }};
const Obstacle lostStart{"lost start", missingCheckpoint, [](Call& c) { c.start = "gone"; }};
const Obstacle nothingToSend{"nothing to send", emptyTransfer, [](Call& c) {
                                 c.instruction = " ";
                                 c.talk.messages.clear();
                             }};
const Obstacle closedChain{"closed chain", pairArchived, [](Call& c) { c.archiveChain(); }};
const Obstacle brokenLink{"broken link", invalidLink, [](Call& c) {
                              c.state.links.change("L", [](RelayLink& link) { link.pairIDs[1] = "gone"; });
                          }};
const Obstacle pendingInLink{"pending in the link", pendingTransfer,
                             [](Call& c) { c.addPending("T2", "P2"); }};

TEST(RelayCheckOrder, pairsAndTransfers) {
    expectFirstObstacleDecides(
        "preview", [](Call&) {}, {noPair, otherSource, busySource, forkedSource, lostStart},
        [](Call& c) { c.state.preview(c.pairID, Agent::codex, c.talk, c.start); });

    expectFirstObstacleDecides(
        "previewNext", [](Call& c) { c.addPending("T", "P1"); },
        {noPair, otherSource, busySource, forkedSource, lostStart},
        [](Call& c) { c.state.previewNext(c.pairID, Agent::codex, c.talk, c.start); });

    expectFirstObstacleDecides(
        "prepare", [](Call&) {},
        {noPair,
         otherDestination,
         closedChain,
         {"a first message into the chain", pendingTransfer,
          [](Call& c) {
              c.addPendingInitial("I", c.claude2, RelayLinkAttachment{"P2", RelayLinkEnd::trailing});
          }},
         pendingInLink,
         {"busy destination", busy, [](Call& c) { c.destination.isBusy = true; }},
         forkedDestination,
         otherSource,
         busySource,
         forkedSource,
         lostStart,
         nothingToSend,
         {"another transfer pending", pendingTransfer, [](Call& c) { c.addPending("T1", "P1"); }}},
        [](Call& c) {
            c.state.prepare({c.pairID, Agent::codex, c.talk, c.destination, c.instruction, c.start},
                            c.stamps);
        });

    expectFirstObstacleDecides(
        "archivePair of a lone pair", [](Call& c) { c.pairID = "P3"; },
        {noPair,
         {"pending", pendingTransfer, [](Call& c) { c.addPending("T3", "P3"); }},
         {"a first message from it", pendingTransfer, [](Call& c) { c.addPendingInitial("I", c.codex2); }}},
        [](Call& c) { c.state.archivePair(c.pairID, 7); });

    expectFirstObstacleDecides(
        "restorePair", [](Call& c) { c.state.archivePair("P3", 1), c.pairID = "P4"; },
        {noPair,
         {"an active twin", activePairExists,
          [](Call& c) { c.state.pairs.change("P3", [](RelayPair& pair) { pair.archivedAt.reset(); }); }}},
        [](Call& c) { c.state.restorePair(c.pairID); });

    expectFirstObstacleDecides(
        "setDraft", [](Call&) {}, {noPair, {"closed chain", conversationMismatch, closedChain.lay}},
        [](Call& c) { c.state.setDraft(c.pairID, Agent::codex, c.instruction, c.start, false); });
}

TEST(RelayCheckOrder, initialTransfers) {
    const auto attached = [](Call& c) {
        c.pairID = "P3", c.attachment = RelayLinkAttachment{"P3", RelayLinkEnd::trailing},
        c.subject = c.codex2, c.talk = conversation(c.codex2, {user("q")});
    };
    const auto anchorAt = [](const std::string& pairID) {
        return [pairID](Call& c) { c.attachment->anchorPairID = pairID; };
    };
    expectFirstObstacleDecides(
        "prepareInitial", attached,
        {otherSource,
         busySource,
         forkedSource,
         lostStart,
         {"no anchor", pairNotFound, anchorAt("none")},
         {"closed anchor", pairArchived, anchorAt("P4")},
         {"full chain", linkCapacity, anchorAt("P1")},
         {"the other end", conversationMismatch, [](Call& c) { c.attachment->end = RelayLinkEnd::leading; }},
         {"pending in the row", pendingTransfer, [](Call& c) { c.addPending("T3", "P3"); }},
         nothingToSend,
         {"another first message from there", pendingTransfer,
          [](Call& c) { c.addPendingInitial("I", c.codex2); }},
         {"another first message to there", pendingTransfer,
          [](Call& c) {
              c.addPendingInitial("J", c.claude3, RelayLinkAttachment{"P3", RelayLinkEnd::leading});
          }}},
        [](Call& c) {
            c.state.prepareInitial({.sourceReference = c.subject,
                                    .conversation = c.talk,
                                    .instruction = c.instruction,
                                    .startMessageID = c.start,
                                    .linkAttachment = c.attachment},
                                   c.stamps);
        });

    const auto initialTo = [](const std::string& anchor) {
        return [anchor](Call& c) {
            c.recordID = "I";
            c.addPendingInitial("I", c.codex2, RelayLinkAttachment{anchor, RelayLinkEnd::trailing});
        };
    };
    expectFirstObstacleDecides(
        "bindInitial", initialTo("P3"),
        {noRecord,
         {"the wrong agent", conversationMismatch, [](Call& c) { c.newcomer.agent = Agent::codex; }},
         {"an old conversation", destinationAlreadyExisted,
          [](Call& c) {
              c.state.initialTransfers.change("I", [&](RelayInitialTransfer& initial) {
                  initial.existingDestinationIDs = std::vector{c.newcomer.id()};
              });
          }},
         {"joined already", pendingTransfer, [](Call& c) { c.addOldPair("P5", c.codex2, c.newcomer); }},
         {"a refused attachment", pendingTransfer, [](Call& c) { c.addPending("T3", "P3"); }}},
        [](Call& c) { c.state.bindInitial(c.recordID, c.newcomer, c.stamps); });

    expectFirstObstacleDecides(
        "previewNextInitial", [](Call& c) { c.recordID = "I", c.addPendingInitial("I", c.codex); },
        {noRecord, otherSource, busySource, forkedSource, lostStart},
        [](Call& c) { c.state.previewNextInitial(c.recordID, c.talk, c.start); });
}

TEST(RelayCheckOrder, links) {
    const Obstacle known{"another file of the new member", conversationMismatch, [](Call& c) {
                             auto elsewhere = c.newcomer;
                             elsewhere.transcriptPath = "/elsewhere";
                             c.addOldPair("P6", reference(Agent::codex, "codex-6"), elsewhere);
                         }};
    const Obstacle pendingInRow{"pending in the row", pendingTransfer,
                                [](Call& c) { c.addPending("T3", "P3"); }};
    const Obstacle initialInRow{"a first message from the row", pendingTransfer,
                                [](Call& c) { c.addPendingInitial("I", c.claude3); }};

    expectFirstObstacleDecides(
        "extendLink", [](Call& c) { c.pairID = "P3"; },
        {noPair,
         {"closed pair", pairArchived, [](Call& c) { c.pairID = "P4"; }},
         {"broken link", invalidLink, [](Call& c) { c.pairID = "P1", brokenLink.lay(c); }},
         {"full chain", linkCapacity, [](Call& c) { c.pairID = "P1"; }},
         {"a member", duplicateLinkConversation, [](Call& c) { c.newcomer = c.codex2; }},
         {"the same agent", unsupportedAdjacentAgents, [](Call& c) { c.end = RelayLinkEnd::leading; }},
         known,
         pendingInRow,
         initialInRow,
         {"joined already", activePairExists, [](Call& c) { c.addOldPair("P5", c.codex2, c.newcomer); }}},
        [](Call& c) { c.state.extendLink(c.pairID, c.end, c.newcomer, c.stamps); });

    expectFirstObstacleDecides(
        "attachPair",
        [](Call& c) {
            c.addOldPair("P5", c.codex2, c.newcomer);
            c.pairID = "P5";
        },
        {{"itself", invalidLink, [](Call& c) { c.otherID = c.pairID; }},
         {"linked already", invalidLink, [](Call& c) { c.pairID = "P1"; }},
         {"no such pair", invalidLink, [](Call& c) { c.pairID = "none"; }},
         {"closed", invalidLink,
          [](Call& c) { c.state.pairs.change("P5", [](RelayPair& pair) { pair.archivedAt = 1; }); }},
         {"no such row", pairNotFound, [](Call& c) { c.otherID = "none"; }},
         {"closed row", pairArchived, [](Call& c) { c.otherID = "P4"; }},
         {"the other end", conversationMismatch, [](Call& c) { c.end = RelayLinkEnd::leading; }},
         pendingInRow,
         initialInRow,
         {"pending itself", pendingTransfer, [](Call& c) { c.addPending("T5", "P5"); }},
         {"a name gone out", invalidLink,
          [](Call& c) {
              c.addPending("T6", "P5");
              c.state.transfers.change("T6", [](RelayTransfer& transfer) {
                  transfer.status = RelayTransfer::Status::received;
                  transfer.assistantLabel = "somebody";
              });
          }}},
        [](Call& c) { c.state.attachPair(c.pairID, c.otherID, c.end, c.stamps); });

    const Obstacle noLink{"no such link", invalidLink, [](Call& c) { c.linkID = "none"; }};
    expectFirstObstacleDecides(
        "archiveLink", [](Call&) {},
        {noLink,
         brokenLink,
         pendingInLink,
         {"a first message from a member", pendingTransfer,
          [](Call& c) { c.addPendingInitial("I", c.claude2); }}},
        [](Call& c) { c.state.archiveLink(c.linkID, 7); });

    expectFirstObstacleDecides(
        "restoreLink", [](Call& c) { c.archiveChain(); },
        {noLink,
         brokenLink,
         {"an active twin", activePairExists, [](Call& c) { c.addOldPair("P5", c.codex, c.claude2); }}},
        [](Call& c) { c.state.restoreLink(c.linkID); });

    const Obstacle unlinked{"no such link", conversationMismatch, noLink.lay};
    const Obstacle noMember{"no member", conversationMismatch,
                            [](Call& c) { c.subject.transcriptPath = "/elsewhere"; }};
    expectFirstObstacleDecides(
        "sourceInstruction", [](Call&) {}, {unlinked, noMember},
        [](Call& c) { c.state.sourceInstruction(c.linkID, c.subject); });
    expectFirstObstacleDecides(
        "setSourceInstruction", [](Call&) {},
        {unlinked, noMember, {"closed chain", conversationMismatch, closedChain.lay}},
        [](Call& c) { c.state.setSourceInstruction(c.linkID, c.subject, c.instruction); });
}

TEST(RelayCheckOrder, receipts) {
    expectFirstObstacleDecides(
        "reconcile", [](Call& c) { c.recordID = "T", c.addPending("T", "P1"); },
        {noRecord,
         {"its pair is gone", pairNotFound,
          [](Call& c) { c.state.transfers.change("T", [](RelayTransfer& t) { t.pairID = "gone"; }); }},
         otherDestination,
         forkedDestination,
         {"rewritten destination", missingCheckpoint,
          [](Call& c) {
              c.state.transfers.change("T", [](RelayTransfer& t) { t.destinationBefore = "gone"; });
          }}},
        [](Call& c) { c.state.reconcile(c.recordID, c.destination); });
}

} // namespace
} // namespace orvel
