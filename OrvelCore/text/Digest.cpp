#include "OrvelCore/text/Digest.h"

#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

namespace orvel {

namespace {

[[noreturn]] void failDigest() {
    throw std::runtime_error("A digest is not available.");
}

std::string hexOf(std::string_view bytes) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

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
        failDigest();
    return bytes;
}

} // namespace

// Looking an algorithm up by name is dear, so it is done once.

std::string sha256Hex(std::initializer_list<std::string_view> pieces) {
    static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return hexOf(digest(algorithm, pieces));
}

struct SHA256Stream::State {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
};

SHA256Stream::SHA256Stream() : state(std::make_unique<State>()) {
    if (!state->context || EVP_DigestInit_ex2(state->context.get(), EVP_sha256(), nullptr) != 1) failDigest();
}

SHA256Stream::~SHA256Stream() = default;

void SHA256Stream::add(std::string_view bytes) {
    if (EVP_DigestUpdate(state->context.get(), bytes.data(), bytes.size()) != 1) failDigest();
}

std::string SHA256Stream::hex() {
    std::string bytes(static_cast<std::size_t>(EVP_MD_get_size(EVP_sha256())), '\0');
    if (EVP_DigestFinal_ex(state->context.get(), reinterpret_cast<unsigned char*>(bytes.data()), nullptr) !=
        1)
        failDigest();
    return hexOf(bytes);
}

std::string sha1(std::initializer_list<std::string_view> pieces) {
    static EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    return digest(algorithm, pieces);
}

} // namespace orvel
