#include "OrvelCore/relay/RelayRanges.h"

#include "OrvelCore/relay/RelayError.h"

#include <algorithm>

namespace orvel {

std::span<const Message> messagesFrom(const Conversation& conversation, std::size_t start) {
    return std::span(conversation.messages).subspan(start);
}

std::optional<std::string> lastMessageID(const Conversation& conversation) {
    if (conversation.messages.empty()) return std::nullopt;
    return conversation.messages.back().id;
}

std::size_t indexOfMessage(const Conversation& conversation, const std::string& id) {
    const auto& messages = conversation.messages;
    const auto found =
        std::find_if(messages.begin(), messages.end(), [&](const Message& m) { return m.id == id; });
    require(found != messages.end(), RelayError::Case::missingCheckpoint);
    return static_cast<std::size_t>(found - messages.begin());
}

std::size_t nextDraftStart(const Conversation& conversation, const std::optional<std::string>& through,
                           const std::optional<std::string>& explicitStart) {
    if (explicitStart) return indexOfMessage(conversation, *explicitStart);
    if (!through) return 0;
    return indexOfMessage(conversation, *through) + 1;
}

bool holdsAssistantMessage(std::span<const Message> messages) {
    return std::any_of(messages.begin(), messages.end(),
                       [](const Message& message) { return message.role == "assistant"; });
}

void requireSettled(const Conversation& conversation) {
    require(!conversation.isBusy, RelayError::Case::busy);
    require(!conversation.hasAmbiguousBranches, RelayError::Case::ambiguousBranches);
}

} // namespace orvel
