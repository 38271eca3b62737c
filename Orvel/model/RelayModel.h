#pragma once
// The state of the relay session: the conversations found on this machine, the relay records, the open pair,
// and what is under way.

#include "Orvel/model/Generation.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Observable.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelayState.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvel {

struct RelaySession {
    explicit RelaySession(const ChangeSignal& changes)
        : catalog(changes),
          codexThreadTitles(changes),
          isDiscovering(changes),
          selectedPairID(changes),
          pairReadings(changes),
          retryableTransferIDs(changes),
          transferFailures(changes),
          relayState(changes),
          isCheckingReceipts(changes),
          isPreparing(changes),
          isSending(changes) {}

    Observable<std::vector<ConversationReference>> catalog; ///< The last discovery, newest first.
    Observable<std::map<std::string, std::string>> codexThreadTitles;
    Observable<bool> isDiscovering;

    Observable<std::optional<std::string>> selectedPairID; ///< The pair that is open.
    /// The last reading of each conversation, by ConversationReading::key.
    Observable<std::map<std::string, SharedConversation>> pairReadings;
    Observable<std::set<std::string>> retryableTransferIDs;          ///< Those of this run.
    Observable<std::map<std::string, std::string>> transferFailures; ///< The last failure of each, in words.
    Observable<RelayState> relayState;                               ///< Always what the file holds.
    Observable<bool> isCheckingReceipts;
    /// The conversations are read afresh, for a message that is to be sent or copied.
    Observable<bool> isPreparing;
    Observable<bool> isSending; ///< The destination may be touched.

    std::optional<ConversationReference>
        sourceReference; ///< The open source conversation, if the catalogue knows it.
    Generation relayLoadGeneration;
    Generation commandEditGeneration; ///< Renewed at every edit of the user's.
    /// Why the records could not be read at start. While it is there, nothing is saved.
    std::optional<std::string> relayStorageError;
    bool hasUnsavedDraft = false; ///< The last edit could not be saved.
    bool isRefreshingBusySource = false;
    std::unique_ptr<Timer> receiptPollingTimer;
};

} // namespace orvel
