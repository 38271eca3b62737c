#pragma once
// Addresses of Code conversations in the Claude application.

#include <optional>
#include <string>
#include <string_view>

namespace orvel::ClaudeConversationNavigation {

struct Target {
    std::string path; ///< Of the page that shows the conversation.
    std::string url;  ///< Opening it shows the conversation in the application.

    bool operator==(const Target&) const = default;
};

/// The address of the conversation with this identifier; nothing if it is not a valid identifier, or would
/// lead anywhere else.
std::optional<Target> target(std::string_view desktopSessionID);

} // namespace orvel::ClaudeConversationNavigation
