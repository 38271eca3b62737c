#include "OrvelCore/text/JsonString.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

constexpr std::size_t blockSize = 8, longestEscape = 6, mostAtOnce = blockSize + longestEscape;
static_assert(std::endian::native == std::endian::little, "the first byte of a block is its lowest");

constexpr std::uint64_t everyByte(unsigned char byte) {
    return 0x0101010101010101U * byte;
}

// How many bytes of the block stand before the first one that is escaped. A subtraction borrows from the next
// byte only behind a hit, so that the lowest one is true.
std::size_t plainBytes(const char* block) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, block, blockSize);
    const auto quote = bytes ^ everyByte('"'), backslash = bytes ^ everyByte('\\');
    const auto hits = ((bytes - everyByte(0x20)) & ~bytes) | ((quote - everyByte(1)) & ~quote) |
                      ((backslash - everyByte(1)) & ~backslash);
    return static_cast<std::size_t>(std::countr_zero(hits & everyByte(0x80))) / 8;
}

// Puts the byte there as JSON has it, and gives the end.
char* put(char* out, char byte) {
    static constexpr std::string_view digits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    if (!escapes[value]) return *out = byte, out + 1;
    *out++ = '\\';
    *out++ = escapes[value];
    if (escapes[value] != 'u') return out;
    for (const char digit : {'0', '0', digits[value >> 4], digits[value & 15]}) *out++ = digit;
    return out;
}

} // namespace

void appendJsonString(std::string& json, std::string_view text) {
    std::array<char, 4096> buffer;
    auto* out = buffer.data();
    *out++ = '"';
    const auto* at = text.data();
    const auto* const end = at + text.size();
    while (at < end) {
        if (buffer.data() + buffer.size() - out <= static_cast<std::ptrdiff_t>(mostAtOnce)) {
            json.append(buffer.data(), out);
            out = buffer.data();
        }
        if (static_cast<std::size_t>(end - at) >= blockSize) {
            const auto plain = plainBytes(at);
            std::memcpy(out, at, blockSize);
            out += plain;
            at += plain;
            if (plain == blockSize) continue;
        }
        out = put(out, *at++);
    }
    *out++ = '"';
    json.append(buffer.data(), out);
}

} // namespace orvel
