#pragma once
// The written form of UUIDs.

#include <cstddef>
#include <string_view>

namespace orvel {

/// Whether the text is a UUID: 36 bytes, hexadecimal digits of either case in groups of 8, 4, 4, 4 and 12.
constexpr bool isUUID(std::string_view text) {
    if (text.size() != 36) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
        const char c = text[i];
        const bool isDigit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (isDash ? c != '-' : !isDigit) return false;
    }
    return true;
}

} // namespace orvel
