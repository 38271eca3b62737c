#include "Orvel/runtime/Random.h"

#include <stdexcept>
#include <string_view>

#include <sys/random.h>
#include <unistd.h>

namespace orvel {

std::string randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (getentropy(bytes.data(), count) != 0) throw std::runtime_error("The system gives no random bytes.");
    return bytes;
}

std::string randomUUID() {
    auto bytes = randomBytes(16);
    bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40); // Version 4, all random.
    bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

} // namespace orvel
