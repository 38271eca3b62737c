#pragma once
// What the last Returns in the agents' applications came to, in words and without content.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <string>
#include <vector>

namespace orvel {

class ReturnDiagnosticHistory;

struct LastReturn {
    std::string time; ///< Of day.
    Agent agent = Agent::codex;
    bool isCommand = false; ///< Whether the command stood in the editor.
    std::string outcome;    ///< Without the agent. Of a command what became of it, once that is known.

    bool operator==(const LastReturn&) const = default;
};

/// `most` of them, the newest first. What follows a key that was pressed (repeats, its release) doesn't
/// count.
std::vector<LastReturn> lastReturns(const ReturnDiagnosticHistory& history, const ClockStyle& clock,
                                    std::size_t most);

} // namespace orvel
