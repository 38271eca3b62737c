#include "Orvel/model/InitialRecipients.h"

#include "OrvelCore/relay/RelayError.h"

#include <algorithm>

namespace orvel {

namespace {

// By trial, on a copy.
bool holdsMessage(RelayState state, const RelayInitialTransfer& initial, const ReadConversation& read,
                  const RelayStamp& stamp) {
    try {
        state.bindInitial(initial.id, read.reference, stamp);
        return state.reconcile(initial.id, *read.conversation);
    } catch (const RelayError&) {
        return false;
    }
}

} // namespace

bool mayBeFoundedBy(const ConversationReference& reference, const RelayInitialTransfer& initial) {
    const auto& existing = *initial.existingDestinationIDs;
    return reference.agent == initial.destinationAgent &&
           std::find(existing.begin(), existing.end(), reference.id()) == existing.end();
}

InitialCandidates initialReceiptCandidates(const RelayState& state,
                                           std::span<const ReadConversation> readings,
                                           const RelayStamp& stamp) {
    InitialCandidates candidates;
    for (const auto& initial : state.pendingInitialTransfers())
        for (const auto& read : readings)
            if (mayBeFoundedBy(read.reference, initial) && holdsMessage(state, initial, read, stamp))
                candidates[initial.id].push_back(read.reference);
    return candidates;
}

std::map<std::string, ConversationReference> uniqueInitialRecipients(const InitialCandidates& candidates) {
    std::map<std::string, std::size_t> wanted; // How many messages each conversation is a candidate of.
    for (const auto& [id, references] : candidates)
        for (const auto& reference : references) ++wanted[reference.id()];
    std::map<std::string, ConversationReference> recipients;
    for (const auto& [id, references] : candidates)
        if (references.size() == 1 && wanted[references.front().id()] == 1)
            recipients.emplace(id, references.front());
    return recipients;
}

void supplementClaudeDesktopReferences(RelayState& state, std::span<const ConversationReference> known) {
    const auto pairs = state.pairs;
    for (const auto& pair : pairs) {
        if (pair.claude.desktopSessionID) continue;
        const auto found =
            std::find_if(known.begin(), known.end(), [&](const ConversationReference& reference) {
                return reference.agent == Agent::claude && reference.sessionID == pair.claude.sessionID &&
                       reference.desktopSessionID && reference.desktopSessionID->starts_with("local_");
            });
        if (found == known.end()) continue;
        auto claude = pair.claude;
        claude.desktopSessionID = found->desktopSessionID;
        state.updateReferences(pair.id, pair.codex, claude);
    }
}

} // namespace orvel
