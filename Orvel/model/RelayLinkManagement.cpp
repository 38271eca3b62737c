#include "Orvel/model/RelayLinkManagement.h"

#include "Orvel/model/Notices.h"
#include "Orvel/model/OrvelWorkspaceSnapshot.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
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
    const bool isFirst = ledger.state().relayState->pairs.empty();
    co_await ledger.restoreRelay();
    const auto active = ledger.state().relayState->activePairs();
    const auto& open = workspace.state();
    const bool isAnythingOpen =
        open.conversation.get() || open.isLoading || open.sourceReference || !open.manualText->empty();
    if (isFirst && !active.empty() && !isAnythingOpen) openSidebarLink(active.back());
}

void RelayLinkManagement::chooseEndpoint(const ConversationReference& reference) {
    const auto& source = workspace.state().sourceReference;
    if (source && source->agent != reference.agent)
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
    if (!joining.empty()) return openExistingSourceLink(joining.front(), *source);
    tasks.start(connect(operation.begin(MessageOperation::Kind::linking), *source, reference));
}

// What is typed meanwhile goes along.
Task<void> RelayLinkManagement::connect(Guard guard, ConversationReference source,
                                        ConversationReference destination) {
    const auto& open = workspace.state();
    const auto generation = open.relayLoadGeneration.current();
    const bool isCodex = source.agent == Agent::codex;
    const auto replaced = workspace.relay().activePair();
    const auto form = [&](RelayState& state) {
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
        workspace.openPair(made, source.agent);
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

// The instructions typed so far must not be lost by it.
void RelayLinkManagement::openExistingSourceLink(const RelayPair& pair,
                                                 const ConversationReference& expectedSource) {
    const auto agent = expectedSource.agent;
    const auto& open = workspace.state();
    const auto& relay = workspace.relay();
    const auto& carried = open.instruction.get();
    if (!carried.empty() && (!relay.editingSavedTransfer() || relay.noteIsForNextTransfer())) {
        const bool isForNext = ledger.state().relayState->transfers.findIf([&](const auto& transfer) {
            return transfer.isPending() && transfer.pairID == pair.id;
        }) != nullptr;
        const auto existing = ledger.state().draft(pair.id, agent).instruction;
        ledger.setDraft(pair.id, agent,
                        {.instruction = mergingCarriedNote(existing, carried),
                         .startMessageID = open.selectedStartMessageID,
                         .nextTransfer = isForNext ? std::optional(true) : std::nullopt});
    }
    workspace.openPair(pair, agent);
    notices.say("Opened the existing link. Nothing was sent.");
}

void RelayLinkManagement::openSidebarLink(const RelayPair& pair) {
    workspace.openPair(pair, workspace.state().source);
}

void RelayLinkManagement::chooseWorkspaceRoute(const std::string& routeID) {
    const auto pair = workspace.relay().activePair();
    if (!pair || operation.isUnderWay() || workspace.state().isLoading) return;
    for (const auto from : {Agent::codex, Agent::claude})
        if (routeID ==
            OrvelWorkspaceSnapshot::routeID(pair->endpoint(from).id(), pair->endpoint(other(from)).id()))
            return workspace.openPair(*pair, from);
}

} // namespace orvel
