#include "Orvel/delivery/CodexMessage.h"

#include <algorithm>

#include <fmt/format.h>

namespace orvel::CodexMessage {

namespace {

constexpr std::string_view option = "--message";

// The command takes what begins with a hyphen for an option, unless it is joined to one.
bool looksLikeAnOption(std::string_view text) {
    return text.starts_with('-');
}

// "131,071".
std::string grouped(std::size_t number) {
    auto digits = std::to_string(number);
    for (auto at = digits.size(); at > 3;) digits.insert(at -= 3, ",");
    return digits;
}

} // namespace

std::vector<std::string> arguments(const std::string& text) {
    if (!looksLikeAnOption(text)) return {std::string(option), text};
    return {std::string(option).append("=").append(text)};
}

std::optional<std::string> refusal(std::string_view text, std::size_t longestArgument) {
    constexpr auto wayOut = "Choose a later start for the range, or use Copy.";
    if (text.find('\0') != text.npos)
        return fmt::format("The message holds a NUL character, which can't be handed to Codex. {}", wayOut);
    const auto joined = looksLikeAnOption(text) ? option.size() + 1 : 0;
    const auto limit = longestArgument - std::min(joined, longestArgument);
    if (text.size() <= limit) return std::nullopt;
    return fmt::format("The message has {} bytes, and Codex takes {} at most. {}", grouped(text.size()),
                       grouped(limit), wayOut);
}

} // namespace orvel::CodexMessage
