#pragma once
// The identity of a conversation on disk: enough to name it, find it and read it.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/text/Date.h"

#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace orvel {

/// Where a path leads once its links are followed, as far as that is known. It is knowledge that goes along
/// with a path and no part of it: all targets are equal.
struct LinkTarget {
    std::string path; ///< Empty where the path itself leads there, or nobody has looked.

    bool operator==(const LinkTarget&) const { return true; }
};

struct ConversationReference {
    Agent agent = Agent::codex;
    std::string sessionID; ///< The agent's identifier of the conversation.
    std::string title;
    std::string transcriptPath; ///< Standardised and absolute.
    std::optional<std::string> workingDirectory;
    Date modifiedAt = 0; ///< When the transcript's contents last changed.
    /// The Claude application's own identifier of the same conversation; begins with "local_".
    std::optional<std::string> desktopSessionID;
    /// Of `transcriptPath`; set by whoever makes the reference from what is on the disk. Not in the JSON
    /// form.
    LinkTarget target{};

    /// The path of the file itself, for telling whether two references lead to the same one.
    const std::string& filePath() const { return target.path.empty() ? transcriptPath : target.path; }

    /// The key of the conversation in records: "{agent}:{sessionID}".
    std::string id() const;

    ConversationReference withTitle(std::string newTitle) const;

    bool operator==(const ConversationReference&) const = default;
};

/// The JSON form: keys as the fields, absent optionals left out.
nlohmann::ordered_json jsonOf(const ConversationReference& reference);

} // namespace orvel
