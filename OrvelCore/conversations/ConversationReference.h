#pragma once
// The identity of a conversation on disk: enough to name it, find it and read it.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/text/Date.h"

#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

struct ConversationReference {
    Agent agent = Agent::codex;
    std::string sessionID; ///< The agent's identifier of the conversation.
    std::string title;
    std::string transcriptPath; ///< Standardised and absolute.
    std::optional<std::string> workingDirectory;
    Date modifiedAt = 0; ///< When the transcript's contents last changed.
    /// The Claude application's own identifier of the same conversation; begins with "local_".
    std::optional<std::string> desktopSessionID;

    /// The key of the conversation in records: "{agent}:{sessionID}".
    std::string id() const;

    ConversationReference withTitle(std::string newTitle) const;

    bool operator==(const ConversationReference&) const = default;
};

/// The JSON form: keys as the fields, absent optionals left out.
nlohmann::ordered_json jsonOf(const ConversationReference& reference);

} // namespace orvel
