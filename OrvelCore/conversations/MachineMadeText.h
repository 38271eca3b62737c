#pragma once
// Messages under the user's name that the user did not write: the agents' programs put them there.

#include "OrvelCore/conversations/Agent.h"

#include <optional>
#include <string_view>

namespace orvel {

enum class MachineMade {
    interruption, ///< The user stopped the agent.
    reminder,     ///< What the agent's program reminds its model of.
    summary,      ///< Stands in place of the messages before it.
    localCommand, ///< A command of the agent's program, and what it printed.
    setting       ///< Instructions of the folder, and where the agent works.
};

/// What the program made of the whole text of a message of the user's; nothing for the user's own words, even
/// if they quote such a text. It decides how a message is shown, never what is relayed or where a range
/// begins.
std::optional<MachineMade> machineMade(Agent agent, std::string_view userText);

/// The name for the user, "Reminder".
std::string_view wordsOf(MachineMade kind);

} // namespace orvel
