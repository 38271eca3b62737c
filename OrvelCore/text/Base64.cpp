#include "OrvelCore/text/Base64.h"

#include <openssl/evp.h>

namespace orvel {

std::string base64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '\0'); // OpenSSL writes a NUL behind, as the string does.
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                    reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    return text;
}

} // namespace orvel
