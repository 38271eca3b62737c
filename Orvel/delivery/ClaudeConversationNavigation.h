#pragma once
// The address of a Code conversation in the Claude application.

#include <optional>
#include <string>
#include <string_view>

namespace orvel::ClaudeConversationNavigation {

struct Target {
    std::string path; ///< Of the page that shows the conversation.
    std::string url;  ///< What the application opens to show it.

    bool operator==(const Target&) const = default;
};

/// Where the conversation with this identifier is; nothing if it is no identifier, or one that would lead
/// anywhere else.
std::optional<Target> target(std::string_view desktopSessionID);

} // namespace orvel::ClaudeConversationNavigation
