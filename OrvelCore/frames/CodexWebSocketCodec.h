#pragma once
// The client side of the WebSocket protocol: checks the upgrade response, decodes the server's frames and
// encodes the client's. Does no I/O, and rejects whatever a server has no need to send.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// Takes the server's bytes as they arrive and returns whole messages. Every failure is a
/// CodexThreadLoaderError::invalid; after one the codec must not be used again.
class CodexWebSocketCodec {
  public:
    static constexpr std::size_t maximumMessage = 8'388'608;  ///< In bytes, all fragments together.
    static constexpr std::size_t maximumBuffer = 8'454'144;   ///< In bytes, received and not yet consumed.
    static constexpr std::size_t maximumUpgradeHead = 65'536; ///< In bytes.

    /// The kinds of frames, numbered as on the wire.
    enum class Opcode : std::uint8_t {
        continuation = 0,
        text = 1,
        binary = 2,
        close = 8,
        ping = 9,
        pong = 10
    };

    struct Event {
        enum class Kind { text, ping, pong, close };

        Kind kind = Kind::text;
        /// The whole message, valid UTF-8, or a ping's payload. Behind a text, a parser's padding is
        /// reserved.
        std::string payload;

        bool operator==(const Event&) const = default;
    };

    using Mask = std::array<char, 4>;

    void append(std::string_view bytes);

    /// The next event; nothing until it has arrived whole.
    std::optional<Event> next();

    /// Encodes one final frame: `text`, `close` or `pong`. Each frame needs a fresh, unpredictable mask.
    static std::string clientFrame(Opcode opcode, std::string_view payload, const Mask& mask);

    /// Checks the response, up to and including its empty line, to an upgrade request with this key.
    static void validateUpgrade(std::string_view head, std::string_view key);

  private:
    struct Frame {
        Opcode opcode;
        bool isFinal;
        std::string_view payload; ///< In the buffer, until the next `append`.
    };

    std::optional<Frame> nextFrame();
    std::optional<Event> eventOf(const Frame& frame);
    void appendFragment(std::string_view payload);

    std::string buffer;
    std::size_t consumed = 0; ///< Bytes at the front of the buffer that are done with.
    std::string fragmented;   ///< Payload of an unfinished text message.
    bool hasFragment = false;
};

} // namespace orvel
