#pragma once
// Digests: SHA-256 in the written form that message identities use, and the SHA-1 of the WebSocket handshake.

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace orvel {

/// The SHA-256 digest of the pieces one after another, as 64 lower-case hexadecimal digits.
std::string sha256Hex(std::initializer_list<std::string_view> pieces);

/// The SHA-256 digest of bytes that come piece by piece. Throws std::runtime_error where there is none.
class SHA256Stream {
  public:
    SHA256Stream();
    SHA256Stream(const SHA256Stream&) = delete;
    SHA256Stream& operator=(const SHA256Stream&) = delete;
    ~SHA256Stream();

    void add(std::string_view bytes);
    /// Of all that was added, as 64 lower-case hexadecimal digits. Ends the stream.
    std::string hex();

  private:
    struct State;
    std::unique_ptr<State> state;
};

/// The SHA-1 digest of the pieces one after another, as 20 bytes. Not for anything that must be hard to
/// forge.
std::string sha1(std::initializer_list<std::string_view> pieces);

} // namespace orvel
