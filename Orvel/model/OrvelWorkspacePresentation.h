#pragma once
// What the workspace shows, as pure functions of what the rooms hold.

#include "Orvel/model/ModelView.h"
#include "Orvel/model/OrvelWorkspaceSnapshot.h"

#include <optional>
#include <string>

namespace orvel {

OrvelWorkspaceSnapshot workspaceSnapshot(const ModelView& view);

/// A turn with which an agent is at work on a message.
struct WatchedTurn {
    Agent agent = Agent::codex;
    MainLoop::Duration since{}; ///< Uptime.
};

/// The turn that is watched in one of the open pair's conversations. It may begin and end without any notice.
std::optional<WatchedTurn> watchedTurn(const ModelView& view);

/// The last reading of the conversation into which the message goes; null if there is none.
SharedConversation destinationReading(const ModelView& view, const RelayTransfer& transfer);

/// Why a pending message will never have its receipt, as far as the last readings tell, and what the person
/// can do; nothing while one may come.
std::optional<std::string> whyNoReceiptComes(const ModelView& view, const RelayTransfer& transfer);

/// The names of a link's conversations, in its order.
std::string pairLabel(const ModelView& view, const RelayPair& pair);

} // namespace orvel
