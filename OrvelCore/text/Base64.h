#pragma once
// Bytes written as Base64 with padding.

#include <string>
#include <string_view>

namespace orvel {

/// Of less than 1 GiB.
std::string base64(std::string_view bytes);

} // namespace orvel
