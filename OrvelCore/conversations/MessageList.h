#pragma once
// Forms the messages of a conversation out of what the records say: drops blank ones and repetitions, and
// gives each its identity.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/text/TextNumbers.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class MessageList {
  public:
    explicit MessageList(std::vector<Message>& messages) : messages(messages) {}

    /// Appends a message unless its text is blank or its identity is taken; says whether it did. `nativeID`
    /// is the agent's own identifier of the message, and the 1-based line number stands in for a missing one.
    /// `writtenAt` is the time as its record has it.
    bool append(std::string_view role, std::string text, std::optional<std::string_view> nativeID,
                std::size_t lineNumber, std::optional<std::string_view> writtenAt = std::nullopt);

  private:
    std::vector<Message>& messages;
    TextNumberTable taken; // The identities of the messages, by their places.
};

} // namespace orvel
