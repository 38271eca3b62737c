#pragma once
// Which page of Claude a URL is. What isn't surely one of the known pages is unsupported.

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

inline constexpr std::string_view claudeWebOrigin = "https://claude.ai";

/// Whether the text is a URL, of whatever kind.
bool isURL(std::string_view text);

/// The path of a page of Claude's web origin, still percent-encoded; nothing for any other URL.
std::optional<std::string> claudeWebPath(std::string_view url);

/// A page of Code conversations.
struct ClaudeCodeRoute {
    enum class Kind { conversation, newConversation, unsupported };

    Kind kind = Kind::unsupported;
    std::optional<std::string> desktopSessionID; ///< "local_" and a UUID as written; of a conversation only.

    static ClaudeCodeRoute of(std::string_view url);

    bool operator==(const ClaudeCodeRoute&) const = default;
};

/// A page of regular chats.
enum class ClaudeChatRoute { newChat, conversation, unsupported };

ClaudeChatRoute claudeChatRoute(std::string_view url);

/// The structure of a URL in fixed words: segments that aren't names of known pages are told by their kind
/// only.
std::string claudeRouteSummary(std::string_view url);

} // namespace orvel
