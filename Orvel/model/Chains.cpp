#include "Orvel/model/Chains.h"

#include "Orvel/model/OrvelWorkspaceSnapshot.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "OrvelCore/relay/RelayError.h"

#include <algorithm>

#include <fmt/format.h>

namespace orvel {

namespace {

std::string memoryKey(const RelayLink& link, const ConversationReference& source) {
    return link.id + ":" + source.id();
}

// The conversation of the link from which its waiting message goes out.
std::optional<ConversationReference> pendingSource(const RelayState& state, const RelayLink& link) {
    const auto pending = state.pendingTransfer(link);
    const auto pair = pending ? state.pairs.find(pending->pairID) : nullptr;
    return pair ? std::optional(pair->endpoint(pending->source)) : std::nullopt;
}

} // namespace

// Directions

void Chains::rememberChainDirection(const RelayPair& pair, Agent source) {
    if (const auto link = ledger.state().relayState->link(pair.id))
        lastDestinations[memoryKey(*link, pair.endpoint(source))] = pair.endpoint(other(source)).id();
}

// With one neighbour there is nothing to choose.
void Chains::openFrom(const RelayLink& link, const ConversationReference& source) {
    const auto adjacent = ledger.state().relayState->adjacentPairs(link, source);
    if (adjacent.empty()) return;
    const auto last = lastDestinations.find(memoryKey(link, source));
    const auto known = std::find_if(adjacent.begin(), adjacent.end(), [&](const RelayPair& pair) {
        return last != lastDestinations.end() && pair.endpoint(other(source.agent)).id() == last->second;
    });
    workspace.openPair(known == adjacent.end() ? adjacent.front() : *known, source.agent);
    if (adjacent.size() == 1 || known != adjacent.end()) return;
    workspace.leaveDestinationOpen();
    notices.say("Use the arrows above to choose a direction between adjacent conversations.");
}

void Chains::openSidebarLink(const RelayPair& pair) {
    if (operation.isUnderWay()) return;
    const auto& state = ledger.state().relayState.get();
    const auto link = state.link(pair.id);
    if (!link) return workspace.openPair(pair, workspace.state().source);
    if (const auto open = workspace.relay().activeChain(); open && open->id == link->id) return;
    const auto& present = workspace.state().sourceReference;
    const bool holdsPresent = present && link->containsIdentity(*present);
    openFrom(*link,
             holdsPresent ? *present : pendingSource(state, *link).value_or(link->conversations.front()));
}

void Chains::selectChainSource(const ConversationReference& reference) {
    const auto chain = workspace.relay().activeChain();
    if (chain && !isOccupied(operation, workspace.state())) openFrom(*chain, reference);
}

void Chains::selectChainDirection(const ConversationReference& from, const ConversationReference& to) {
    if (isOccupied(operation, workspace.state())) return;
    const auto pair = workspace.relay().chainPair(from, to);
    if (!pair) return;
    rememberChainDirection(*pair, from.agent);
    workspace.openPair(*pair, from.agent);
}

void Chains::chooseWorkspaceRoute(const std::string& routeID) {
    if (isOccupied(operation, workspace.state())) return;
    const auto& relay = workspace.relay();
    const auto conversations = relay.orderedRelayConversations();
    for (const auto& from : conversations)
        for (const auto& to : conversations) {
            if (routeID != OrvelWorkspaceSnapshot::routeID(from.id(), to.id())) continue;
            if (relay.activeChain()) return selectChainDirection(from, to);
            return workspace.openPair(*relay.activePair(), from.agent);
        }
}

void Chains::showPendingWorkspaceTransfer() {
    const auto chain = workspace.relay().activeChain();
    const auto open = workspace.relay().activePair();
    if (!chain || isOccupied(operation, workspace.state())) return;
    const auto& state = ledger.state().relayState.get();
    if (const auto pending = state.pendingTransfer(*chain, open->id))
        return workspace.openPair(*state.pairs.find(pending->pairID), pending->source);
    if (const auto initial = state.pendingInitial(*chain)) workspace.openInitial(*initial);
}

// Growth

void Chains::appendRelayConversation(const ConversationReference& reference, RelayLinkEnd end,
                                     const std::string& expectedPairID) {
    if (isOccupied(operation, workspace.state())) return;
    const auto pair = workspace.relay().activePair();
    if (!pair || pair->id != expectedPairID)
        return notices.say("The link being edited changed. Choose where to add the conversation again.");
    tasks.start(append(operation.begin(MessageOperation::Kind::linking), reference, end, pair->id));
}

Task<void> Chains::append(Guard guard, ConversationReference reference, RelayLinkEnd end,
                          std::string pairID) {
    const auto& open = workspace.state();
    const auto generation = open.relayLoadGeneration.current();
    const auto source = open.sourceReference;
    const auto extend = [&](RelayState& state) { state.extendLink(pairID, end, reference, ledger.stamp()); };
    try {
        co_await ledger.change(extend);
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
        co_return;
    }
    guard.end();
    if (!open.relayLoadGeneration.isCurrent(generation)) co_return;
    notices.dismissError();
    if (const auto chain = workspace.relay().activeChain(); chain && source) openFrom(*chain, *source);
    notices.say("Conversation added to the link. Choose a direction between adjacent conversations.");
}

bool Chains::beginNewRelayConversation(RelayLinkEnd end, const std::string& expectedPairID) {
    if (operation.isUnderWay()) return false;
    const auto pair = workspace.relay().activePair();
    if (!pair || pair->id != expectedPairID) {
        notices.say("The selected link changed. Choose the end to extend again.");
        return false;
    }
    const auto& records = ledger.state();
    const auto& state = records.relayState.get();
    try {
        const auto members = state.orderedReferences(pair->id);
        const auto source = end == RelayLinkEnd::leading ? members.front() : members.back();
        const auto link = state.link(pair->id);
        const auto anchor = link ? state.adjacentPairs(*link, source).front() : *pair;
        const RelayLinkAttachment attachment{anchor.id, end};
        state.requireExtensible(attachment, source, std::nullopt);
        workspace.prepareNewConversation({source, state.speakerContextForExtension(anchor.id), attachment,
                                          records.draft(anchor.id, source.agent)});
        notices.say(fmt::format("Adding a new {} conversation to the link.", label(other(source.agent))));
        return true;
    } catch (const RelayError& failure) {
        notices.fail(failure.what());
        return false;
    }
}

// Commands

bool Chains::prepareChainCommandContext(const std::string& note, const ConversationReference& reference) {
    const auto& state = ledger.state().relayState.get();
    auto link = workspace.relay().activeChain();
    if (!link || !link->containsIdentity(reference)) {
        link = nullptr;
        for (const auto& candidate : state.activeLinks()) {
            if (!candidate.containsIdentity(reference)) continue;
            if (link) return false;
            link = std::make_shared<const RelayLink>(candidate);
        }
    }
    if (!link) return false;
    const auto adjacent = state.adjacentPairs(*link, reference);
    if (adjacent.size() < 2) return false;
    // The draft of any of its pairs is the conversation's note.
    const auto& pair = adjacent.front();
    auto draft = ledger.state().draft(pair.id, reference.agent);
    draft.instruction = appendingNote(draft.instruction, note);
    ledger.setDraft(pair.id, reference.agent, draft);
    workspace.openPair(pair, reference.agent);
    workspace.leaveDestinationOpen();
    workspace.showDraft(draft);
    notices.say("Source instructions are kept. Choose a destination using the arrows above.");
    return true;
}

} // namespace orvel
