#pragma once
// A conversation as the rest of Orvel works on it, whichever agent wrote it.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/text/Date.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// One turn of a conversation.
struct Message {
    /// Stable over readings of the same file: the agent's own identifier or the line, and a digest of role
    /// and text. A turn whose text is edited in place thus becomes another message.
    std::string id;
    std::string role; ///< "user" or "assistant" in a transcript.
    std::string text; ///< Not trimmed.
    /// What its record says, where it says it. For looking at, and no part of what the message is: the same
    /// one may be read where no times stand.
    std::optional<Date> writtenAt;

    bool operator==(const Message& another) const {
        return id == another.id && role == another.role && text == another.text;
    }
};

/// A text that Claude Code took up while a tool ran: its transcript holds it as an attachment, and never as a
/// message of the user's.
struct QueuedCommand {
    std::string text;
    std::size_t messagesBefore = 0; ///< How many of the conversation's messages stand before it.

    bool operator==(const QueuedCommand&) const = default;
};

/// A loaded conversation. Large: it travels as a SharedConversation.
struct Conversation {
    std::string id; ///< The agent's session identifier, else what the reader was given.
    Agent source = Agent::codex;
    std::string title;
    std::vector<Message> messages;     ///< In file order.
    bool isBusy = false;               ///< The agent has not finished its turn at the end of the file.
    bool hasAmbiguousBranches = false; ///< One message of a Claude transcript was answered by two user turns.
    std::vector<QueuedCommand> queuedCommands; ///< In file order.

    bool operator==(const Conversation&) const = default;
};

using SharedConversation = std::shared_ptr<const Conversation>;

/// The index of the first message with this id.
std::optional<std::size_t> positionOf(std::span<const Message> messages, std::string_view id);

} // namespace orvel
