#pragma once
// What the workspace shows, as pure functions of what the rooms hold.

#include "Orvel/model/ModelView.h"
#include "Orvel/model/OrvelWorkspaceSnapshot.h"

#include <optional>
#include <string>

namespace orvel {

OrvelWorkspaceSnapshot workspaceSnapshot(const ModelView& view);

/// The uptime since which the turn of the open pair's Codex conversation is watched. It may begin and end
/// without any notice.
std::optional<MainLoop::Duration> watchedSince(const ModelView& view);

/// The names of a link's conversations, in its order.
std::string pairLabel(const ModelView& view, const RelayPair& pair);

} // namespace orvel
