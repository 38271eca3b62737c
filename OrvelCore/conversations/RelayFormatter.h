#pragma once
// The exact text of every message that Orvel hands over. A payload once formed is stored and delivered byte
// for byte.

#include "OrvelCore/conversations/Conversation.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orvel::RelayFormatter {

/// The trimmed instruction, if any remains, and the messages in order, each behind its speaker; paragraphs
/// are separated by an empty line. `assistantLabel` names the assistant, by default the agent's raw name;
/// everybody else is "me". Empty without instruction and messages.
std::string render(Agent source, std::span<const Message> messages, std::string_view instruction,
                   std::optional<std::string_view> assistantLabel = std::nullopt);

} // namespace orvel::RelayFormatter
