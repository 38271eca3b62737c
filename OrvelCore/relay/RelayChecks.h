#pragma once
// The checks that the operations of the relay state share, and where in a conversation a transfer begins and
// ends.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/relay/RelayError.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace orvel {

/// Throws the failure unless the condition holds.
void require(bool holds, RelayError::Case otherwise);

/// Fails with busy, then with ambiguousBranches.
void requireSettled(const Conversation& conversation);

/// The index of the message with this identity. Fails with missingCheckpoint.
std::size_t indexOfMessage(const Conversation& conversation, const std::string& id);

/// The index at which the transfer after a pending one begins: at the explicit start, else behind `through`,
/// else at the first message. Fails with missingCheckpoint.
std::size_t nextDraftStart(const Conversation& conversation, const std::optional<std::string>& through,
                           const std::optional<std::string>& explicitStart);

/// The messages from index `start` on.
std::span<const Message> messagesFrom(const Conversation& conversation, std::size_t start);

/// The identity of the last message.
std::optional<std::string> lastMessageID(const Conversation& conversation);

bool holdsAssistantMessage(std::span<const Message> messages);

} // namespace orvel
