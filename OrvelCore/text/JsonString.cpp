#include "OrvelCore/text/JsonString.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace orvel {

namespace {

// For each byte what it is escaped by: nothing, the letter behind a backslash, or 'u' for the numeric form.
constexpr auto escapes = [] {
    std::array<char, 256> letters{};
    for (std::size_t control = 0; control < 0x20; ++control) letters[control] = 'u';
    letters['\b'] = 'b';
    letters['\t'] = 't';
    letters['\n'] = 'n';
    letters['\f'] = 'f';
    letters['\r'] = 'r';
    letters['"'] = '"';
    letters['\\'] = '\\';
    return letters;
}();

// Whether one of the 32 bytes is escaped. One branchless reduction, which compilers turn into vector code.
bool holdsEscaped(const char* block) {
    unsigned char found = 0;
    for (int i = 0; i < 32; ++i) {
        const auto byte = static_cast<unsigned char>(block[i]);
        found |= static_cast<unsigned char>((byte < 0x20) | (byte == '"') | (byte == '\\'));
    }
    return found != 0;
}

void appendEscaped(std::string& json, unsigned char byte) {
    static constexpr std::string_view digits = "0123456789abcdef";
    json += '\\';
    json += escapes[byte];
    if (escapes[byte] != 'u') return;
    json += "00";
    json += digits[byte >> 4];
    json += digits[byte & 15];
}

} // namespace

void appendJsonString(std::string& json, std::string_view text) {
    json += '"';
    std::size_t copied = 0, at = 0;
    while (at < text.size()) {
        const auto blockEnd = std::min(at + 32, text.size());
        if (blockEnd - at == 32 && !holdsEscaped(text.data() + at)) {
            at = blockEnd;
            continue;
        }
        for (; at < blockEnd; ++at) {
            if (!escapes[static_cast<unsigned char>(text[at])]) continue;
            json.append(text, copied, at - copied);
            appendEscaped(json, static_cast<unsigned char>(text[at]));
            copied = at + 1;
        }
    }
    json.append(text, copied);
    json += '"';
}

} // namespace orvel
