#include "OrvelCore/relay/RelayChecks.h"

#include "OrvelCore/conversations/MachineMadeText.h"

#include <algorithm>

namespace orvel {

namespace {

// Whether the conversation begins with a summary of what it was before.
bool isCompacted(const Conversation& conversation) {
    if (conversation.messages.empty()) return false;
    const auto& first = conversation.messages.front();
    return first.role == "user" && machineMade(conversation.source, first.text) == MachineMade::summary;
}

} // namespace

void require(bool holds, RelayError::Case otherwise) {
    if (!holds) throw RelayError(otherwise);
}

void requireSettled(const Conversation& conversation) {
    require(!conversation.isBusy, RelayError::Case::busy);
    require(!conversation.hasAmbiguousBranches, RelayError::Case::ambiguousBranches);
}

std::size_t indexOfMessage(const Conversation& conversation, const std::string& id) {
    if (const auto position = positionOf(conversation.messages, id)) return *position;
    if (isCompacted(conversation))
        throw RelayError(RelayError::Case::missingCheckpoint,
                         "The conversation was compacted: a summary stands in place of its earlier messages. "
                         "A range can begin at any message that is still there.");
    throw RelayError(RelayError::Case::missingCheckpoint);
}

std::size_t nextDraftStart(const Conversation& conversation, const std::optional<std::string>& through,
                           const std::optional<std::string>& explicitStart) {
    if (explicitStart) return indexOfMessage(conversation, *explicitStart);
    return through ? indexOfMessage(conversation, *through) + 1 : 0;
}

std::span<const Message> messagesFrom(const Conversation& conversation, std::size_t start) {
    return std::span(conversation.messages).subspan(start);
}

std::optional<std::string> lastMessageID(const Conversation& conversation) {
    if (conversation.messages.empty()) return std::nullopt;
    return conversation.messages.back().id;
}

bool holdsAssistantMessage(std::span<const Message> messages) {
    return std::any_of(messages.begin(), messages.end(),
                       [](const Message& message) { return message.role == "assistant"; });
}

} // namespace orvel
