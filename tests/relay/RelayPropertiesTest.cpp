// Random use of the relay engine: whatever is called in whatever order, the rules of the records hold.

#include "OrvelCore/relay/RelayStateJson.h"
#include "OrvelCore/relay/RelayStateReport.h"
#include "relay/RelaySamples.h"

#include <rapidcheck/gtest.h>

#include <array>

namespace orvel {
namespace {

using namespace samples;

// One call: which operation, and small numbers that choose its arguments. Plain numbers shrink well.
using Step = std::array<unsigned char, 4>;

// Six conversations that go on meanwhile, and a state on which random calls are made.
class Use {
  public:
    Use() {
        for (const auto agent : allAgents)
            for (const auto* name : {"1", "2", "3"}) references.push_back(reference(agent, name));
        for (const auto& each : references)
            talks.push_back(conversation(each, {user("begin"), assistant("begun")}));
    }

    void perform(const Step& step) {
        const auto before = state;
        const auto operation = step[0] % operationCount;
        const bool isReconciling = operation == arriving || operation == reconciling;
        attempt([&] { call(step); });
        const auto violations = RelayStateReport::of(state).violations;
        if (!violations.empty()) RC_FAIL(violations.front());
        RC_ASSERT(isReconciling || state.checkpoints == before.checkpoints);
        RC_ASSERT(isReconciling || state.incomingStarts == before.incomingStarts);
        for (std::size_t i = 0; i < before.transfers.size(); ++i) {
            RC_ASSERT(state.transfers[i].id == before.transfers[i].id);
            RC_ASSERT(state.transfers[i].payload == before.transfers[i].payload);
        }
    }

    RelayState state;

  private:
    static constexpr unsigned char operationCount = 24, arriving = 2, reconciling = 3;

    template <typename Operation>
    bool attempt(Operation operation) {
        const auto before = state;
        try {
            operation();
            return true;
        } catch (const RelayError&) {
            RC_ASSERT(state == before);
            return false;
        }
    }

    // Common calls have more numbers than rare ones.
    void call(const Step& step) {
        const auto [operation, a, b, c] = step;
        const auto agent = b % 2 ? Agent::codex : Agent::claude;
        const auto end = b % 2 ? RelayLinkEnd::leading : RelayLinkEnd::trailing;
        switch (operation % operationCount) {
        case 0: state.pair(references[a % 3], references[3 + b % 3], std::nullopt, stamps); break;
        case 1: say(talks[a % 6], c % 2 ? user(fresh()) : assistant(fresh())); break;
        case arriving:
            if (const auto pending = state.pendingTransfers(); !pending.empty()) {
                const auto& transfer = *pick(pending, a);
                auto& destination = destinationOf(transfer);
                say(destination, user(*transfer.payload));
                state.reconcile(transfer.id, destination);
            }
            break;
        case reconciling:
            if (const auto* transfer = pick(state.transfers, a))
                state.reconcile(transfer->id, destinationOf(*transfer));
            break;
        case 4:
        case 5:
        case 6: prepare(a, agent, c); break;
        case 7:
        case 8: prepareInitial(a, b, c); break;
        case 9:
        case 10:
            if (const auto* initial = pick(state.initialTransfers, a))
                state.bindInitial(initial->id, references[b % 6], stamps);
            break;
        case 11:
        case 12: state.extendLink(pairID(a), end, references[c % 6], stamps); break;
        case 13:
            for (const auto& joining : state.activePairs())
                if (attempt([&] { state.attachPair(joining.id, pairID(a), end, stamps); })) break;
            break;
        case 14: state.archivePair(pairID(a), b); break;
        case 15:
        case 16:
            if (const auto closed = state.archivedPairs(); !closed.empty())
                state.restorePair(pick(closed, a)->id);
            break;
        case 17: state.setDraft(pairID(a), agent, text(c), std::nullopt, c % 3 == 0); break;
        case 18:
            if (const auto* initial = pick(state.initialTransfers, a))
                state.setInitialNextDraft(initial->id, text(b), std::nullopt);
            break;
        case 19:
            if (const auto* transfer = pick(state.transfers, a)) {
                if (b % 2)
                    state.markSubmitted(transfer->id);
                else
                    state.setRetryable(transfer->id, c % 2);
            }
            break;
        case 20:
            if (const auto* transfer = pick(state.transfers, a))
                state.clearPreparedSourceInstruction(transfer->id);
            break;
        case 21:
            if (const auto* initial = pick(state.initialTransfers, a)) {
                if (b % 2)
                    state.markInitialSubmitted(initial->id);
                else
                    state.markInitialRetryable(initial->id);
            }
            break;
        case 22:
            if (const auto* link = pick(state.links, a))
                state.setSourceInstruction(link->id, link->conversations[b % link->conversations.size()],
                                           text(c));
            break;
        case 23: // An edited history.
            if (auto& messages = talks[a % 6].messages; c % 4 == 0 && messages.size() > 1)
                messages.erase(messages.begin() + b % static_cast<std::ptrdiff_t>(messages.size()));
            break;
        }
    }

    void prepare(unsigned char a, Agent source, unsigned char c) {
        const auto* pair = pick(state.pairs, a);
        if (!pair) return;
        const auto instruction = c % 2 ? state.draft(pair->id, source).instruction : text(c);
        const RelayTransferRequest request{
            pair->id,    source,      talkOf(pair->endpoint(source)), talkOf(pair->endpoint(other(source))),
            instruction, std::nullopt};
        const auto keptPair = state.pairs.find(pair->id); // The request looks at its text.
        const auto transfer = state.prepare(request, stamps);
        const auto once = state;
        RC_ASSERT(state.prepare(request, stamps) == transfer);
        RC_ASSERT(state == once);
    }

    void prepareInitial(unsigned char a, unsigned char b, unsigned char c) {
        const auto& source = references[a % 6];
        std::optional<RelayLinkAttachment> attachment;
        if (c % 2) attachment = {pairID(b), b % 2 ? RelayLinkEnd::leading : RelayLinkEnd::trailing};
        const auto instruction = text(c);
        const RelayInitialRequest request{.sourceReference = source,
                                          .conversation = talkOf(source),
                                          .instruction = instruction,
                                          .linkAttachment = attachment};
        const auto initial = state.prepareInitial(request, stamps);
        const auto once = state;
        RC_ASSERT(state.prepareInitial(request, stamps) == initial);
        RC_ASSERT(state == once);
    }

    template <typename Record>
    const Record* pick(const RecordList<Record>& records, unsigned char number) const {
        return records.empty() ? nullptr : &records[number % records.size()];
    }

    std::string pairID(unsigned char number) const {
        const auto* pair = pick(state.pairs, number);
        return pair ? pair->id : "none";
    }

    std::string text(unsigned char number) const {
        return std::array{"", "note", " note\n", "other \"text\""}.at(number % 4);
    }

    std::string fresh() { return "said " + std::to_string(++said); }

    // Messages with the same text are different messages.
    void say(Conversation& talk, Message message) {
        message.id += "#" + std::to_string(++said);
        talk.messages.push_back(std::move(message));
    }

    Conversation& talkOf(const ConversationReference& reference) {
        for (auto& talk : talks)
            if (talk.source == reference.agent && talk.id == reference.sessionID) return talk;
        throw std::logic_error("no such conversation");
    }

    Conversation& destinationOf(const RelayTransfer& transfer) {
        return talkOf(state.pairs.find(transfer.pairID)->endpoint(other(transfer.source)));
    }

    std::vector<ConversationReference> references;
    std::vector<Conversation> talks;
    RelayStamp stamps = stamp();
    int said = 0;
};

RC_GTEST_PROP(RelayProperties, everyOperationKeepsTheRulesAndFailsWithoutATrace, ()) {
    const auto steps = *rc::gen::scale(10, rc::gen::container<std::vector<Step>>(rc::gen::arbitrary<Step>()));
    Use use;
    for (const auto& step : steps) use.perform(step);
    RC_ASSERT(decodeRelayState(encodeRelayState(use.state)) == use.state);
}

RC_GTEST_PROP(RelayProperties, textsSurviveTheFile, (const std::u32string& characters)) {
    std::string text;
    for (const auto code : characters) {
        const auto character =
            static_cast<std::uint32_t>(code) % 0x500; // ASCII, controls and two-byte forms.
        if (character < 0x80) {
            text += static_cast<char>(character);
        } else {
            text += static_cast<char>(0xC0 | (character >> 6));
            text += static_cast<char>(0x80 | (character & 0x3F));
        }
    }
    RelayTransfer transfer;
    transfer.id = text;
    transfer.payload = text + "\"\\" + text;
    RelayState state;
    state.transfers.append(transfer);
    state.drafts.set(text, {text, text, false});
    RC_ASSERT(decodeRelayState(encodeRelayState(state)) == state);
}

} // namespace
} // namespace orvel
