#pragma once
// A message as an argument of the command `codex queue`, and what no argument can hold.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel::CodexMessage {

/// The arguments that hand the message over: two, or one where its text begins as an option does.
std::vector<std::string> arguments(const std::string& text);

/// Why the text can't be handed over, with the way out, or nothing. `longestArgument` is that of Processes.
std::optional<std::string> refusal(std::string_view text, std::size_t longestArgument);

} // namespace orvel::CodexMessage
