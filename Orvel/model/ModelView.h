#pragma once
// The state of all rooms, to look at: what the presentation is made from.

#include "Orvel/model/Catalogue.h"
#include "Orvel/model/ConversationReadings.h"
#include "Orvel/model/LedgerState.h"
#include "Orvel/model/NewConversations.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/OpenRelay.h"
#include "Orvel/model/OutboxState.h"
#include "Orvel/model/WorkspaceState.h"
#include "Orvel/runtime/MainLoop.h"

#include <map>
#include <string>

namespace orvel {

/// References that are good as long as the rooms are, and always show what they hold now.
struct ModelView {
    const Notices& notices;
    const LedgerState& records;
    const CatalogueState& catalogue;
    const ConversationReadings& readings;
    const WorkspaceState& workspace;
    const OpenRelay& relay;
    const OutboxState& outbox;
    const NewConversationsState& creations;
    const std::map<std::string, MainLoop::Duration> watchedTurns; ///< As Outbox::watchedTurns.
    const Observable<bool>& isCheckingReceipts;
    Date now;
};

} // namespace orvel
