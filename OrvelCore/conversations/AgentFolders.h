#pragma once
// Where the agents keep their files.

#include "OrvelCore/conversations/Agent.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// One folder to search for transcripts.
struct ConversationRoot {
    Agent agent;
    std::string path;

    bool operator==(const ConversationRoot&) const = default;
};

/// The folders of both agents on this machine; standardised absolute paths.
struct AgentFolders {
    std::string home;          ///< The user's home.
    std::string codex;         ///< "sessions" and "session_index.jsonl" lie here.
    std::string claude;        ///< "projects" lies here.
    std::string claudeDesktop; ///< The Claude application's records of its conversations.

    /// The folders for a home. `codexHome` and `claudeConfigDir` are the values of the agents' environment
    /// variables CODEX_HOME and CLAUDE_CONFIG_DIR; an absent or empty one leaves the default in the home.
    /// `desktopConfig` is the folder in which desktop applications keep their settings.
    static AgentFolders of(const std::string& home, const std::optional<std::string>& codexHome,
                           const std::optional<std::string>& claudeConfigDir,
                           const std::string& desktopConfig);

    /// Where transcripts are searched: Codex first, then Claude.
    std::vector<ConversationRoot> defaultRoots() const;
};

} // namespace orvel
