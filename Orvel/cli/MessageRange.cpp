#include "Orvel/cli/MessageRange.h"

#include "Orvel/cli/CommandFailure.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

namespace orvel {

namespace {

std::optional<std::size_t> positionOfNumber(const std::string& text, std::size_t count) {
    std::size_t number = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < 1 || number > count) return std::nullopt;
    return number - 1;
}

} // namespace

std::optional<std::size_t> rangeStart(const Arguments& arguments, const Conversation& conversation) {
    const auto& messages = conversation.messages;
    if (arguments.last) return messages.size() - std::min(*arguments.last, messages.size());
    if (!arguments.from) return std::nullopt;
    const auto& id = *arguments.from;
    if (const auto exact = positionOf(messages, id)) return exact;
    if (const auto numbered = positionOfNumber(id, messages.size())) return numbered;
    const auto begins = [&](const Message& message) { return !id.empty() && message.id.starts_with(id); };
    const auto count = std::count_if(messages.begin(), messages.end(), begins);
    if (count == 0) throw messageNotFound(id);
    if (count > 1)
        throw CommandFailure(
            "ambiguous", fmt::format("The IDs of {} messages begin with “{}”. Give more of it.", count, id));
    return static_cast<std::size_t>(std::find_if(messages.begin(), messages.end(), begins) -
                                    messages.begin());
}

} // namespace orvel
