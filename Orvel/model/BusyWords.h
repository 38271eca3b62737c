#pragma once
// What is said of a conversation whose transcript ends within a turn: mostly its agent is at work, but one
// that was killed leaves the same transcript for good.

#include "OrvelCore/conversations/Agent.h"

#include <chrono>
#include <optional>
#include <string>

namespace orvel {

/// What is known of the agent's program beside the transcript.
struct AgentActivity {
    bool processIsGone = false; ///< For certain: no living process holds the conversation.
    /// Since the transcript was last written, if that is known.
    std::optional<std::chrono::seconds> silence;
};

/// Why waiting may be in vain, and what ends it; nothing while the agent may well be at work.
std::optional<std::string> wordsForBusy(Agent agent, const AgentActivity& activity);

} // namespace orvel
