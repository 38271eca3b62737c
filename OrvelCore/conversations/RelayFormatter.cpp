#include "OrvelCore/conversations/RelayFormatter.h"

#include "OrvelCore/text/Unicode.h"

namespace orvel::RelayFormatter {

std::string render(Agent source, std::span<const Message> messages, std::string_view instruction,
                   std::optional<std::string_view> assistantLabel) {
    const auto assistant = assistantLabel.value_or(rawValue(source));
    std::string payload(trimmed(instruction));
    bool isFirst = payload.empty();
    for (const auto& message : messages) {
        if (!isFirst) payload += "\n\n";
        isFirst = false;
        payload += message.role == "assistant" ? assistant : "me";
        payload += ": ";
        payload += message.text;
    }
    return payload;
}

} // namespace orvel::RelayFormatter
