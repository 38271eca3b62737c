#pragma once
// The framing of a WebSocket as its client sees it: the answer to the upgrade, frames of the server in,
// frames of the client out. Pure, and strict: what the server need not send is refused.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// Takes the server's bytes as they come and gives whole messages. All failures are
/// CodexThreadLoaderError::invalid; after one the codec is of no further use.
class CodexWebSocketCodec {
  public:
    static constexpr std::size_t maximumMessage = 8'388'608; ///< In bytes, fragments together.
    static constexpr std::size_t maximumBuffer = 8'454'144;  ///< Received and not yet consumed.
    static constexpr std::size_t maximumUpgradeHead = 65'536;

    /// The kinds of frames, by their numbers on the wire.
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
        /// The whole message, valid UTF-8, or a ping's payload. Room behind a text is reserved for a parser.
        std::string payload;

        bool operator==(const Event&) const = default;
    };

    using Mask = std::array<char, 4>;

    void append(std::string_view bytes);

    /// The next event, or nothing if it has not arrived whole.
    std::optional<Event> next();

    /// One final frame: `text`, `close` or `pong`. The mask is to be unpredictable and new for each frame.
    static std::string clientFrame(Opcode opcode, std::string_view payload, const Mask& mask);

    /// Checks the server's answer, up to and including its empty line, to an upgrade with this key.
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
    std::size_t consumed = 0; ///< How much of the buffer's front is done with.
    std::string fragmented;   ///< Payload of an unfinished text message.
    bool hasFragment = false;
};

} // namespace orvel
