// Joining two conversations, and finding again what joins them already.

#include "Orvel/model/OrvelModel.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

namespace {

// The note that was typed before the link was opened, behind the one that the link has.
std::string mergingCarriedNote(const std::string& existing, const std::string& carried) {
    if (trimmed(carried).empty() || carried == existing) return existing;
    return existing.empty() ? carried : existing + "\n\n" + carried;
}

} // namespace

std::vector<RelayPair> OrvelModel::activeLinks(const ConversationReference& reference) const {
    std::vector<RelayPair> found;
    for (const auto& pair : relays.relayState->pairs)
        if (pair.isActive() && sameIdentity(pair.endpoint(reference.agent), reference)) found.push_back(pair);
    return found;
}

void OrvelModel::connectDestination(const ConversationReference& reference) try {
    const auto source = relays.sourceReference;
    if (!source || source->agent == reference.agent || isBusyWithMessage()) return;
    auto joining = activeLinks(*source);
    std::erase_if(joining,
                  [&](const auto& pair) { return !sameIdentity(pair.endpoint(reference.agent), reference); });
    if (joining.size() == 1) return openExistingSourceLink(joining.front(), *source);
    if (joining.size() > 1) {
        plain.error = "Multiple links use these conversations. Choose from the existing links.";
        return;
    }
    const auto isElsewhere = [&](const RelayPair& pair) {
        return pair.isActive() && sameKey(pair.endpoint(source->agent), *source) &&
               sameKey(pair.endpoint(reference.agent), reference);
    };
    if (relays.relayState->pairs.findIf(isElsewhere)) {
        plain.error = "Another transcript is linked to the same conversation ID. Check the existing links.";
        return;
    }
    std::optional<RelaySpeakerContext> context;
    if (const auto replaced = activePair())
        context = relays.relayState->speakerContextForReplacement(replaced->id);
    const bool isCodex = source->agent == Agent::codex;
    RelayPair made;
    changeRelay([&](RelayState& state) {
        made = state.pair(isCodex ? *source : reference, isCodex ? reference : *source, context, stamp());
        state.setDraft(made.id, source->agent, plain.instruction.get(), plain.selectedStartMessageID.get(),
                       false);
    });
    openPair(made, source->agent);
} catch (const std::exception& failure) {
    plain.error = failure.what();
}

// The instructions typed so far must not be lost by it.
void OrvelModel::openExistingSourceLink(const RelayPair& pair, const ConversationReference& expectedSource) {
    const auto agent = expectedSource.agent;
    const auto carried = plain.instruction.get();
    const bool carries = !carried.empty() && (!editingSavedTransfer() || noteIsForNextTransfer());
    if (carries) {
        const auto start = plain.selectedStartMessageID.get();
        changeRelay([&](RelayState& state) {
            const bool isForNext = state.transfers.findIf([&](const auto& transfer) {
                return transfer.isPending() && transfer.pairID == pair.id;
            }) != nullptr;
            const auto existing = state.draft(pair.id, agent).instruction;
            state.setDraft(pair.id, agent, mergingCarriedNote(existing, carried), start, isForNext);
        });
    }
    openPair(pair, agent);
    plain.status = "Opened the existing link. Nothing was sent.";
}

void OrvelModel::openSidebarLink(const RelayPair& pair) {
    openPair(pair, plain.source);
}

} // namespace orvel
