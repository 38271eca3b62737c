#pragma once
// Where everything lies: the person's home, the agents' folders, Orvel's own data. Both programs ask here.

#include "OrvelCore/conversations/AgentFolders.h"

#include <map>
#include <optional>
#include <string>

namespace orvel {

struct Places {
    AgentFolders folders;
    std::string dataFolder; ///< Orvel's own files.
    /// Variables by which the agents' tools find the same places, where this process's environment would lead
    /// them elsewhere.
    std::map<std::string, std::string> toolEnvironment;
    std::optional<std::string> toolFolder; ///< Holds the only tools that exist, in a sample.

    /// The file of earlier positions, from which the other files of the data folder take their place.
    std::string statePath() const;

    /// The places of this process's environment. `home` stands for the user's home and `data` for the data
    /// folder where given.
    static Places fromEnvironment(const std::optional<std::string>& home,
                                  const std::optional<std::string>& data);
};

} // namespace orvel
