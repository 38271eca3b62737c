#pragma once
// Which page of Claude a URL is. What isn't surely one of the known pages is unsupported.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

inline constexpr std::string_view claudeWebOrigin = "https://claude.ai";

/// A longer URL is taken for none, in bytes: what a page puts into its URL must not delay a key.
inline constexpr std::size_t longestClaudeURL = 16'384;

/// Whether the text is a URL, of whatever kind.
bool isURL(std::string_view text);

/// The path of a page of Claude's web origin, still percent-encoded; nothing for any other URL.
std::optional<std::string> claudeWebPath(std::string_view url);

/// A page of Code conversations.
struct ClaudeCodeRoute {
    enum class Kind { conversation, newConversation, unsupported };

    Kind kind = Kind::unsupported;
    std::optional<std::string> desktopSessionID; ///< "local_" and a UUID as written; of a conversation only.

    ClaudeCodeRoute() = default;
    explicit ClaudeCodeRoute(std::string_view url);

    bool operator==(const ClaudeCodeRoute&) const = default;
};

/// A page of regular chats.
class ClaudeChatRoute {
  public:
    enum class Case { newChat, conversation, unsupported };
    using enum Case;

    constexpr ClaudeChatRoute(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    explicit ClaudeChatRoute(std::string_view url);

    /// The structure of any URL: segments that aren't names of known pages are told by their kind only.
    static DiagnosticText diagnosticSummary(std::string_view url);

  private:
    Case value;
};

} // namespace orvel
