#include "OrvelCore/conversations/Conversation.h"

#include <algorithm>

namespace orvel {

std::optional<std::size_t> positionOf(std::span<const Message> messages, std::string_view id) {
    const auto found =
        std::find_if(messages.begin(), messages.end(), [&](const Message& m) { return m.id == id; });
    if (found == messages.end()) return std::nullopt;
    return static_cast<std::size_t>(found - messages.begin());
}

} // namespace orvel
