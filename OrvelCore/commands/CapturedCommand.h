#pragma once
// A command as it was caught in an agent's editor, with what is known of the conversation there.

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <optional>
#include <string>
#include <variant>

namespace orvel {

/// The identifier that Claude's application gives a conversation with Claude Code: "local_" and a UUID.
struct ClaudeDesktopID {
    std::string text;

    bool operator==(const ClaudeDesktopID&) const = default;
};

/// Which conversation the editor belongs to: one with Claude Code, still to be found, or a found one with
/// Codex.
using CapturedConversationIdentity = std::variant<ClaudeDesktopID, ConversationReference>;

struct CapturedCommand {
    OrvelCommand command;
    Agent source = Agent::codex;                          ///< In whose editor it was typed.
    std::optional<CapturedConversationIdentity> identity; ///< Nothing where it could not be told.
    bool isRemoved = false;                               ///< Whether the editor is proved to be without it.

    bool operator==(const CapturedCommand&) const = default;
};

} // namespace orvel
