#include "OrvelCore/relay/RelayStateReport.h"

#include "OrvelCore/text/Unicode.h"

#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace orvel {

namespace {

// Looks at one rule after the other. Every rule costs about one pass over the records.
class Inspection {
  public:
    explicit Inspection(const RelayState& state) : state(state) {
        for (const auto& pair : state.pairs) pairs.emplace(pair.id, &pair);
        transfers.reserve(state.transfers.size());
        for (const auto& transfer : state.transfers) transfers.emplace(transfer.id, &transfer);
    }

    std::vector<std::string> violations() {
        identifiersAreUnique();
        pairsHaveOneEndOfEachAgent();
        activePairsAreUnique();
        pairsBelongToOneLink();
        chainsHoldTogether();
        transfersBelongToPairs();
        onePendingTransferAtATime();
        boundInitialTransfersHaveTheirRecords();
        attachmentsHaveTheirAnchors();
        positionsAreProved();
        draftsBelongToPairs();
        return std::move(found);
    }

  private:
    void identifiersAreUnique() {
        expectUnique("Pair", state.pairs);
        expectUnique("Transfer", state.transfers);
        expectUnique("Initial transfer", state.initialTransfers);
        expectUnique("Link", state.links);
    }

    void pairsHaveOneEndOfEachAgent() {
        for (const auto& pair : state.pairs)
            expect(pair.codex.agent == Agent::codex && pair.claude.agent == Agent::claude, "Pair", pair.id,
                   "does not join a Codex and a Claude conversation");
    }

    void activePairsAreUnique() {
        std::set<std::pair<std::string, std::string>> joined;
        for (const auto& pair : state.pairs)
            if (pair.isActive())
                expect(joined.emplace(pair.codex.id(), pair.claude.id()).second, "Pair", pair.id,
                       "joins two conversations that another active pair joins already");
    }

    void pairsBelongToOneLink() {
        for (const auto& link : state.links)
            for (const auto& pairID : link.pairIDs)
                expect(linkOfPair.emplace(pairID, &link).second, "Pair", pairID,
                       "belongs to more than one link");
    }

    void chainsHoldTogether() {
        for (const auto& link : state.links) {
            const auto length = link.conversations.size();
            expect(length >= 2 && length <= RelayLink::maximumConversations &&
                       link.pairIDs.size() == length - 1,
                   "Link", link.id, "has the wrong number of conversations or pairs");
            std::set<std::string> members;
            for (const auto& member : link.conversations)
                expect(members.insert(member.id()).second, "Link", link.id, "holds a conversation twice");
            for (std::size_t i = 0; i < link.pairIDs.size() && i + 1 < length; ++i)
                joinHolds(link, link.pairIDs[i], link.conversations[i], link.conversations[i + 1]);
        }
    }

    void joinHolds(const RelayLink& link, const std::string& pairID, const ConversationReference& left,
                   const ConversationReference& right) {
        const auto* pair = pairWithID(pairID);
        expect(pair != nullptr, "Link", link.id, "names a pair that does not exist");
        expect(left.agent != right.agent, "Link", link.id, "has neighbours of the same agent");
        if (!pair) return;
        expect(sameIdentity(pair->endpoint(left.agent), left) &&
                   sameIdentity(pair->endpoint(right.agent), right),
               "Link", link.id, "has neighbours that their pair does not join");
        expect(pair->isActive() == link.isActive(), "Pair", pairID, "is closed or open without its link");
    }

    void transfersBelongToPairs() {
        for (const auto& transfer : state.transfers) {
            expect(pairWithID(transfer.pairID) != nullptr, "Transfer", transfer.id, "belongs to no pair");
            expect(transfer.isPending() != transfer.receivedMessageID.has_value(), "Transfer", transfer.id,
                   "is received without a proof or has a proof without being received");
        }
    }

    void onePendingTransferAtATime() {
        std::unordered_set<std::string_view> busy;
        for (const auto& transfer : state.transfers) {
            if (!transfer.isPending()) continue;
            const auto link = linkOfPair.find(transfer.pairID);
            const std::string_view way = link == linkOfPair.end() ? transfer.pairID : link->second->id;
            expect(busy.insert(way).second, "Transfer", transfer.id,
                   "is pending while another one is pending in the same pair or link");
        }
    }

    void boundInitialTransfersHaveTheirRecords() {
        for (const auto& initial : state.initialTransfers) {
            if (initial.isPending()) continue;
            const auto transfer = transfers.find(initial.id);
            expect(pairWithID(*initial.boundPairID) && transfer != transfers.end() &&
                       transfer->second->pairID == *initial.boundPairID,
                   "Initial transfer", initial.id, "is bound without its pair or its transfer");
        }
    }

    void attachmentsHaveTheirAnchors() {
        for (const auto& initial : state.initialTransfers)
            if (initial.linkAttachment)
                expect(pairWithID(initial.linkAttachment->anchorPairID) != nullptr, "Initial transfer",
                       initial.id, "is to join a pair that does not exist");
    }

    // A position comes from a receipt alone.
    void positionsAreProved() {
        auto checkpoints = unproved(state.checkpoints), starts = unproved(state.incomingStarts);
        for (const auto& transfer : state.transfers) {
            if (transfer.isPending()) continue;
            prove(checkpoints, transfer.pairID, transfer.source, transfer.sourceThrough);
            prove(starts, transfer.pairID, other(transfer.source), transfer.receivedMessageID);
        }
        for (const auto& [key, message] : checkpoints)
            expect(false, "Checkpoint", key, "was proved by no transfer");
        for (const auto& [key, message] : starts)
            expect(false, "Incoming start", key, "was reached by no transfer");
    }

    using Positions = std::map<std::string_view, std::string_view>;

    static Positions unproved(const RecordMap<std::string>& positions) {
        return {positions.begin(), positions.end()};
    }

    void prove(Positions& positions, std::string_view pairID, Agent agent,
               const std::optional<std::string>& message) {
        if (positions.empty() || !message) return;
        key.assign(pairID).append(":").append(rawValue(agent));
        const auto position = positions.find(key);
        if (position != positions.end() && position->second == *message) positions.erase(position);
    }

    void draftsBelongToPairs() {
        for (const auto& [key, draft] : state.drafts) {
            const std::string_view position = key;
            const auto colon = position.rfind(':');
            expect(colon != position.npos && agentNamed(position.substr(colon + 1)) &&
                       pairWithID(position.substr(0, colon)),
                   "Draft", key, "belongs to no pair");
        }
    }

    const RelayPair* pairWithID(std::string_view id) const {
        const auto pair = pairs.find(id);
        return pair == pairs.end() ? nullptr : pair->second;
    }

    template <typename Record>
    void expectUnique(std::string_view kind, const RecordList<Record>& records) {
        std::unordered_set<std::string_view> ids(records.size());
        for (const auto& record : records)
            expect(ids.insert(record.id).second, kind, record.id, "has the identifier of another one");
    }

    void expect(bool holds, std::string_view kind, std::string_view id, std::string_view fault) {
        if (holds) return;
        auto sentence = std::string(kind) + " " + displayable(id) + " ";
        found.push_back(sentence.append(fault) + ".");
    }

    const RelayState& state;
    std::string key;
    std::unordered_map<std::string_view, const RelayPair*> pairs;
    std::unordered_map<std::string_view, const RelayTransfer*> transfers;
    std::unordered_map<std::string_view, const RelayLink*> linkOfPair;
    std::vector<std::string> found;
};

} // namespace

std::string violationsOf(const RelayState& state) {
    std::string lines;
    for (const auto& violation : Inspection(state).violations()) lines += violation + '\n';
    return lines;
}

RelayStateReport RelayStateReport::of(const RelayState& state) {
    RelayStateReport report;
    for (const auto& pair : state.pairs) ++(pair.isActive() ? report.activePairs : report.archivedPairs);
    for (const auto& link : state.links) ++(link.isActive() ? report.activeLinks : report.archivedLinks);
    for (const auto& transfer : state.transfers)
        ++(transfer.isPending() ? report.pendingTransfers : report.receivedTransfers);
    for (const auto& initial : state.initialTransfers)
        ++(initial.isPending() ? report.pendingInitialTransfers : report.boundInitialTransfers);
    report.drafts = state.drafts.size();
    report.checkpoints = state.checkpoints.size();
    report.incomingStarts = state.incomingStarts.size();
    report.violations = Inspection(state).violations();
    return report;
}

} // namespace orvel
