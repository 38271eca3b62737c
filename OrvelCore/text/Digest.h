#pragma once
// SHA-256 in the written form that message identities use.

#include <initializer_list>
#include <string>
#include <string_view>

namespace orvel {

/// The SHA-256 digest of the pieces one after another, as 64 lower-case hexadecimal digits.
std::string sha256Hex(std::initializer_list<std::string_view> pieces);

} // namespace orvel
