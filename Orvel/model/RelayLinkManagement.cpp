#include "Orvel/model/RelayLinkManagement.h"

#include "Orvel/model/Chains.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

namespace {

// The note that was typed before the link was opened, behind the one that the link has.
std::string mergingCarriedNote(const std::string& existing, const std::string& carried) {
    if (trimmed(carried).empty() || carried == existing) return existing;
    return appendingNote(existing, carried);
}

} // namespace

void RelayLinkManagement::restoreRelay() {
    tasks.start(restore());
}

Task<void> RelayLinkManagement::restore() {
    const auto isEmpty = [](const RelayState& state) {
        return state.pairs.empty() && state.initialTransfers.empty();
    };
    const bool isFirst = isEmpty(ledger.state().relayState);
    co_await ledger.restoreRelay();
    const auto& open = workspace.state();
    const bool isAnythingOpen =
        open.conversation.get() || open.isLoading || open.sourceReference || !open.manualText->empty();
    if (!isFirst || isAnythingOpen) co_return;
    const auto waiting = ledger.state().relayState->pendingInitialTransfers();
    const auto active = ledger.state().relayState->activePairs();
    if (!waiting.empty())
        workspace.openInitial(waiting.back());
    else if (!active.empty())
        chains.openSidebarLink(active.back());
}

void RelayLinkManagement::chooseEndpoint(const ConversationReference& reference) {
    const auto& source = workspace.state().sourceReference;
    if (workspace.relay().activeInitial())
        bindInitialDestination(reference);
    else if (source && source->agent != reference.agent)
        connectDestination(reference);
    else
        workspace.chooseSource(reference);
}

std::vector<RelayPair> RelayLinkManagement::activeLinks(const ConversationReference& reference) const {
    std::vector<RelayPair> found;
    for (const auto& pair : ledger.state().relayState->pairs)
        if (pair.isActive() && sameIdentity(pair.endpoint(reference.agent), reference)) found.push_back(pair);
    return found;
}

void RelayLinkManagement::connectDestination(const ConversationReference& reference) {
    const auto source = workspace.state().sourceReference;
    if (!source || source->agent == reference.agent || operation.isUnderWay()) return;
    if (workspace.state().newConversationAttachment->has_value())
        return tasks.start(connect(operation.begin(MessageOperation::Kind::linking), *source, reference));
    auto joining = activeLinks(*source);
    std::erase_if(joining,
                  [&](const auto& pair) { return !sameIdentity(pair.endpoint(reference.agent), reference); });
    if (joining.size() > 1)
        return notices.fail("Multiple links use these conversations. Choose from the existing links.");
    const auto isElsewhere = [&](const RelayPair& pair) {
        return pair.isActive() && sameKey(pair.endpoint(source->agent), *source) &&
               sameKey(pair.endpoint(reference.agent), reference);
    };
    if (joining.empty() && ledger.state().relayState->pairs.findIf(isElsewhere))
        return notices.fail(
            "Another transcript is linked to the same conversation ID. Check the existing links.");
    if (!joining.empty()) return openExistingSourceLink(joining.front().id, *source);
    tasks.start(connect(operation.begin(MessageOperation::Kind::linking), *source, reference));
}

// What is typed meanwhile goes along.
Task<void> RelayLinkManagement::connect(Guard guard, ConversationReference source,
                                        ConversationReference destination) {
    const auto& open = workspace.state();
    const auto generation = open.relayLoadGeneration.current();
    const bool isCodex = source.agent == Agent::codex;
    const auto replaced = workspace.relay().activePair();
    const auto attachment = open.newConversationAttachment.get();
    const auto form = [&](RelayState& state) {
        if (attachment) {
            state.requireExtensible(*attachment, source, std::nullopt);
            const auto link =
                state.extendLink(attachment->anchorPairID, attachment->end, destination, ledger.stamp());
            for (const auto& pair : state.adjacentPairs(link, source))
                if (sameIdentity(pair.endpoint(destination.agent), destination)) return pair;
            throw RelayError(RelayError::Case::pairNotFound);
        }
        std::optional<RelaySpeakerContext> context;
        if (replaced) context = state.speakerContextForReplacement(replaced->id);
        return state.pair(isCodex ? source : destination, isCodex ? destination : source, context,
                          ledger.stamp());
    };
    try {
        const auto made = co_await ledger.change(form);
        guard.end();
        if (!open.relayLoadGeneration.isCurrent(generation)) co_return;
        ledger.setDraft(made.id, source.agent,
                        {.instruction = open.instruction, .startMessageID = open.selectedStartMessageID});
        workspace.forgetUnlinkedDraft(source);
        workspace.openPair(made, source.agent);
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

void RelayLinkManagement::bindInitialDestination(const ConversationReference& reference) {
    const auto initial = workspace.relay().activeInitial();
    if (!initial || operation.isUnderWay()) return;
    tasks.start(bind(operation.begin(MessageOperation::Kind::linking), initial->id, reference));
}

Task<void> RelayLinkManagement::bind(Guard guard, std::string initialID, ConversationReference destination) {
    const auto bind = [&](RelayState& state) { state.bindInitial(initialID, destination, ledger.stamp()); };
    try {
        co_await ledger.change(bind);
        guard.end();
        workspace.openFounded(initialID);
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

// The instructions typed so far must not be lost by it.
void RelayLinkManagement::openExistingSourceLink(const std::string& pairID,
                                                 const ConversationReference& expectedSource) {
    const auto agent = expectedSource.agent;
    const auto& open = workspace.state();
    const auto& relay = workspace.relay();
    const auto pair = ledger.state().relayState->pairs.find(pairID);
    if (relay.activeInitial() || !open.sourceReference ||
        !sameIdentity(*open.sourceReference, expectedSource) || !pair || !pair->isActive() ||
        !sameIdentity(pair->endpoint(agent), expectedSource))
        return notices.say("The source or link state changed. Choose the conversation again.");
    const auto& carried = open.instruction.get();
    const bool isCarried = !relay.editingSavedTransfer() || relay.noteIsForNextTransfer();
    if (isCarried && !trimmed(carried).empty()) {
        const auto pending = ledger.state().relayState->pendingTransfer(pairID);
        const auto initial = pending && pending->source == agent
                                 ? ledger.state().relayState->initialTransfers.find(pending->id)
                                 : nullptr;
        auto draft = initial ? ledger.state().nextDraft(*initial) : ledger.state().draft(pairID, agent);
        draft.instruction = mergingCarriedNote(draft.instruction, carried);
        draft.startMessageID = open.selectedStartMessageID;
        draft.nextTransfer = pending ? std::optional(true) : std::nullopt;
        if (initial)
            ledger.setNextDraft(initial->id, draft);
        else
            ledger.setDraft(pairID, agent, draft);
    }
    workspace.forgetUnlinkedDraft(expectedSource);
    workspace.openPair(*pair, agent);
    notices.say("Opened the existing link. Nothing was sent.");
}

// Closing and reopening

bool RelayLinkManagement::canArchiveLink(const RelayPair& pair) const {
    if (operation.isUnderWay()) return false;
    try {
        RelayState(ledger.state().relayState).archivePair(pair.id, 0);
        return true;
    } catch (const RelayError&) {
        return false;
    }
}

void RelayLinkManagement::archiveLink(const RelayPair& pair) {
    if (operation.isUnderWay()) return;
    const auto open = workspace.relay().activePair();
    const auto chain = workspace.relay().activeChain();
    const bool isOpen = open && (open->id == pair.id || (chain && chain->containsPair(pair.id)));
    tasks.start(archive(operation.begin(MessageOperation::Kind::linking), pair.id, isOpen));
}

Task<void> RelayLinkManagement::archive(Guard guard, std::string pairID, bool isOpen) {
    const auto generation = workspace.state().relayLoadGeneration.current();
    const auto close = [&](RelayState& state) { state.archivePair(pairID, ledger.stamp().now); };
    try {
        co_await ledger.change(close);
        guard.end();
        if (isOpen && workspace.state().relayLoadGeneration.isCurrent(generation)) workspace.newLink();
        notices.say("Link closed. Conversations and transfer records are kept.");
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

void RelayLinkManagement::restoreLink(const RelayPair& pair) {
    if (!operation.isUnderWay())
        tasks.start(reopen(operation.begin(MessageOperation::Kind::linking), pair.id));
}

Task<void> RelayLinkManagement::reopen(Guard guard, std::string pairID) {
    const auto restore = [&](RelayState& state) { state.restorePair(pairID); };
    try {
        co_await ledger.change(restore);
        guard.end();
        if (const auto pair = ledger.state().relayState->pairs.find(pairID); pair && pair->isActive())
            chains.openSidebarLink(*pair);
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

} // namespace orvel
