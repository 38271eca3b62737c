#pragma once
// Digests: SHA-256 in the written form that message identities use, and the SHA-1 of the WebSocket handshake.

#include <initializer_list>
#include <string>
#include <string_view>

namespace orvel {

/// The SHA-256 digest of the pieces one after another, as 64 lower-case hexadecimal digits.
std::string sha256Hex(std::initializer_list<std::string_view> pieces);

/// The SHA-1 digest of the pieces one after another, as 20 bytes. Not for anything that must be hard to
/// forge.
std::string sha1(std::initializer_list<std::string_view> pieces);

} // namespace orvel
