#include "OrvelCore/text/Digest.h"

#include <array>
#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

namespace orvel {

std::string sha256Hex(std::initializer_list<std::string_view> pieces) {
    // Looking an algorithm up by name is dear, so it is done once.
    static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    std::array<unsigned char, 32> digest{};
    bool done = algorithm != nullptr && context != nullptr &&
                EVP_DigestInit_ex2(context.get(), algorithm, nullptr) == 1;
    for (const auto piece : pieces)
        done = done && EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1;
    if (!done || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1)
        throw std::runtime_error("The SHA-256 digest is not available.");

    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * digest.size());
    for (const auto byte : digest) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

} // namespace orvel
