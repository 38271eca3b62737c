#include "OrvelCore/text/JsonLimits.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace orvel {

namespace {

// A double holds every integer of so many digits.
constexpr std::size_t maximumDigits = 308;
constexpr std::size_t escapeSize = 6;

// The UTF-16 unit of the numeric escape that the text begins with, if it does.
std::optional<unsigned> unitAt(std::string_view text) {
    if (text.size() < escapeSize || !text.starts_with("\\u")) return std::nullopt;
    unsigned unit = 0;
    const char* end = text.data() + escapeSize;
    return std::from_chars(text.data() + 2, end, unit, 16).ptr == end ? std::optional(unit) : std::nullopt;
}

bool isSurrogate(std::optional<unsigned> unit) {
    return unit && *unit >= 0xD800 && *unit < 0xE000;
}

// The number of characters in the escape that the text begins with; a pair of surrogates is one.
std::size_t escapeLength(std::string_view text) {
    const auto unit = unitAt(text);
    if (!unit) return 2;
    const auto next = unitAt(text.substr(escapeSize));
    const bool isPair = isSurrogate(unit) && *unit < 0xDC00 && isSurrogate(next) && *next >= 0xDC00;
    return isPair ? 2 * escapeSize : escapeSize;
}

template <typename Integer>
bool isBeyond(std::string_view number) {
    Integer value = 0;
    const char* end = number.data() + number.size();
    const auto result = std::from_chars(number.data(), end, value);
    return result.ec == std::errc::result_out_of_range && result.ptr == end;
}

bool isBeyond64Bits(std::string_view number) {
    return number.starts_with('-') ? isBeyond<std::int64_t>(number) : isBeyond<std::uint64_t>(number);
}

} // namespace

std::optional<std::string> withinJsonLimits(std::string_view json) {
    std::string result;
    std::size_t copied = 0;
    const auto replace = [&](std::size_t at, std::size_t length, std::string_view by) {
        result.append(json, copied, at - copied).append(by);
        copied = at + length;
    };
    bool isInString = false;
    for (std::size_t at = 0, length = 0; at < json.size(); at += length) {
        const auto rest = json.substr(at);
        length = 1;
        if (rest.front() == '"') {
            isInString = !isInString;
        } else if (isInString && rest.front() == '\\') {
            length = escapeLength(rest);
            if (length == escapeSize && isSurrogate(unitAt(rest))) replace(at, length, "\\ufffd");
        } else if (!isInString && (rest.front() == '-' || (rest.front() >= '0' && rest.front() <= '9'))) {
            length = std::min(rest.find_first_not_of("+-.0123456789Ee"), rest.size());
            const auto number = rest.substr(0, length);
            if (isBeyond64Bits(number))
                replace(at, length, std::string(number.substr(0, maximumDigits)) + "e0");
        }
    }
    if (copied == 0) return std::nullopt;
    return result.append(json, copied);
}

} // namespace orvel
