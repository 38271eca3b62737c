#pragma once
// Tells which page of Claude a URL shows. Whatever isn't certainly a known page is unsupported.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

inline constexpr std::string_view claudeWebOrigin = "https://claude.ai";

/// Whether a browser would take the text for a URL of any kind, of any size and with any characters behind
/// its scheme, as an address from a page may have them. Relative ones must be well-formed.
bool isURL(std::string_view text);

/// The path of a page of Claude's web origin, still percent-encoded; nothing for any other URL.
std::optional<std::string> claudeWebPath(std::string_view url);

/// A page of Code conversations.
struct ClaudeCodeRoute {
    enum class Kind { conversation, newConversation, unsupported };

    Kind kind = Kind::unsupported;
    std::optional<std::string> desktopSessionID; ///< "local_" and a UUID, as written; only of a conversation.

    ClaudeCodeRoute() = default;
    explicit ClaudeCodeRoute(std::string_view url);

    bool operator==(const ClaudeCodeRoute&) const = default;
};

/// A page of regular chats.
enum class ClaudeChatRoute { newChat, conversation, unsupported };

ClaudeChatRoute claudeChatRoute(std::string_view url);

/// The structure of any URL for diagnostics, without its contents: of a path segment that names no known
/// page, only the kind.
DiagnosticText urlStructure(std::string_view url);

} // namespace orvel
