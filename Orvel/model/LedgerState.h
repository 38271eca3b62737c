#pragma once
// What is known of relays: the records as the file has them, and the drafts that were typed since.

#include "Orvel/runtime/Observable.h"
#include "OrvelCore/relay/RelayState.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace orvel {

/// A draft that is not in the file yet.
struct UnsavedDraft {
    std::string pairID;
    Agent source = Agent::codex;
    RelayDraft draft;
    std::uint64_t edit = 0; ///< Tells a draft from an earlier one of the same side.
};

struct LedgerState {
    explicit LedgerState(const ChangeSignal& changes) : relayState(changes), unsavedDrafts(changes) {}

    Observable<RelayState> relayState;                             ///< Always what the file holds.
    Observable<std::map<std::string, UnsavedDraft>> unsavedDrafts; ///< By `positionKey`.
    /// Why the records could not be read at start. While it is there, nothing is saved.
    std::optional<std::string> relayStorageError;

    /// The draft of one side as it was typed last.
    RelayDraft draft(const std::string& pairID, Agent source) const {
        const auto unsaved = unsavedDrafts->find(positionKey(pairID, source));
        return unsaved == unsavedDrafts->end() ? relayState->draft(pairID, source) : unsaved->second.draft;
    }
};

} // namespace orvel
