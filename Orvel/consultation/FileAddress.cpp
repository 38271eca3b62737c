#include "Orvel/consultation/FileAddress.h"

#include <algorithm>
#include <cctype>

namespace orvel {

namespace {

constexpr std::string_view digits = "0123456789ABCDEF", plain = "/-._~";

// -1 for what is no hexadecimal digit.
int digitOf(char letter) {
    const auto place = digits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(letter))));
    return place == digits.npos ? -1 : static_cast<int>(place);
}

} // namespace

std::string fileURLOf(std::string_view path) {
    std::string url = "file://";
    for (const char letter : path) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool isPlain = byte < 0x80 && (std::isalnum(byte) || plain.find(letter) != plain.npos);
        if (isPlain)
            url += letter;
        else
            (url += '%') += {digits[byte >> 4], digits[byte & 15]};
    }
    return url;
}

std::optional<std::string> pathOfFileURL(std::string_view url) {
    for (const std::string_view start : {"file://localhost/", "file:///"}) {
        if (!url.starts_with(start)) continue;
        std::string path;
        for (auto i = start.size() - 1; i < url.size(); ++i) {
            if (url[i] == '?' || url[i] == '#') return std::nullopt;
            if (url[i] != '%') {
                path += url[i];
                continue;
            }
            if (i + 2 >= url.size()) return std::nullopt;
            const auto high = digitOf(url[i + 1]), low = digitOf(url[i + 2]);
            if (high < 0 || low < 0 || high + low == 0) return std::nullopt;
            path += static_cast<char>(high * 16 + low);
            i += 2;
        }
        return path;
    }
    return std::nullopt;
}

} // namespace orvel
