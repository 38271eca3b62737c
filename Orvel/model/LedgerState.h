#pragma once
// What is known of relays: the records as the file has them, and the drafts that were typed since.

#include "Orvel/runtime/Observable.h"
#include "OrvelCore/relay/RelayState.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace orvel {

/// A draft that is not in the file yet: of one side of a pair, or of the message after a first one.
struct UnsavedDraft {
    std::string pairID;
    Agent source = Agent::codex;
    std::optional<std::string> initialID;
    RelayDraft draft;
    std::uint64_t edit = 0; ///< Tells a draft from an earlier one of the same side.
};

struct LedgerState {
    explicit LedgerState(const ChangeSignal& changes) : relayState(changes), unsavedDrafts(changes) {}

    Observable<RelayState> relayState; ///< Always what the file holds.
    /// By `positionKey`, or the identifier of the first message.
    Observable<std::map<std::string, UnsavedDraft>> unsavedDrafts;
    /// Why the records could not be read at start. While it is there, nothing is saved.
    std::optional<std::string> relayStorageError;

    /// The draft of one side as it was typed last.
    RelayDraft draft(const std::string& pairID, Agent source) const {
        const auto unsaved = unsavedDrafts->find(positionKey(pairID, source));
        const bool isSaved = unsaved == unsavedDrafts->end();
        auto draft = isSaved ? relayState->draft(pairID, source) : unsaved->second.draft;
        // In a link the text is the conversation's, whichever of its pairs it was typed for.
        auto newest = isSaved ? 0 : unsaved->second.edit;
        const auto pair = unsavedDrafts->empty() ? nullptr : relayState->pairs.find(pairID);
        const auto holding = pair ? relayState->link(pairID) : nullptr;
        if (!holding) return draft;
        for (const auto& adjacent : relayState->adjacentPairs(*holding, pair->endpoint(source))) {
            const auto other = unsavedDrafts->find(positionKey(adjacent.id, source));
            if (other == unsavedDrafts->end() || other->second.edit <= newest) continue;
            newest = other->second.edit;
            draft.instruction = other->second.draft.instruction;
        }
        return draft;
    }

    /// The draft of the message after a first one as it was typed last; for the next transfer if there is
    /// any.
    RelayDraft nextDraft(const RelayInitialTransfer& initial) const {
        const auto unsaved = unsavedDrafts->find(initial.id);
        if (unsaved != unsavedDrafts->end()) return unsaved->second.draft;
        RelayDraft draft{initial.nextInstruction.value_or(""), initial.nextStartMessageID, {}};
        if (initial.nextInstruction) draft.nextTransfer = true;
        return draft;
    }
};

} // namespace orvel
