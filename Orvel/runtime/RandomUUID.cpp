#include "Orvel/runtime/RandomUUID.h"

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

#include <unistd.h>
#ifdef __APPLE__
#include <sys/random.h>
#endif

namespace orvel {

std::string randomUUID() {
    std::array<unsigned char, 16> bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0)
        throw std::system_error(errno, std::generic_category(), "getentropy");
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40); // Version 4, all random.
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

} // namespace orvel
