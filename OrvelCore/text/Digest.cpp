#include "OrvelCore/text/Digest.h"

#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

namespace orvel {

namespace {

std::string digest(const EVP_MD* algorithm, std::initializer_list<std::string_view> pieces) {
    // Making one costs more than the digest of a short text.
    static thread_local const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(
        EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    bool done = algorithm != nullptr && context != nullptr &&
                EVP_DigestInit_ex2(context.get(), algorithm, nullptr) == 1;
    for (const auto piece : pieces)
        done = done && EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1;
    std::string bytes(done ? static_cast<std::size_t>(EVP_MD_get_size(algorithm)) : 0, '\0');
    if (!done ||
        EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char*>(bytes.data()), nullptr) != 1)
        throw std::runtime_error("A digest is not available.");
    return bytes;
}

} // namespace

// Looking an algorithm up by name is dear, so it is done once.

std::string sha256Hex(std::initializer_list<std::string_view> pieces) {
    static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    static constexpr std::string_view digits = "0123456789abcdef";
    const auto bytes = digest(algorithm, pieces);
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string sha1(std::initializer_list<std::string_view> pieces) {
    static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    return digest(algorithm, pieces);
}

} // namespace orvel
