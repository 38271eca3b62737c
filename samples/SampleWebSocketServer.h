#pragma once
// The server's side of a WebSocket over any pair of pipes, strict about everything that the client must do.
// It shares no code with the client that Orvel has, so that the two can contradict each other.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvel {

class SampleWebSocketServer {
  public:
    /// Takes bytes from the client; gives the text messages that they complete.
    std::vector<std::string> receive(std::string_view bytes);

    void sendText(std::string_view text) { sendFrame(0x1, text); }
    /// The client has to answer with the same payload, of at most 125 bytes.
    void sendPing(std::string_view payload);

    /// What has to be written to the client now.
    std::string takeOutput() { return std::exchange(output, {}); }

    bool isClosed() const { return closed; }
    /// What the client did against the protocol; nothing if it closed in order, or is still there.
    const std::optional<std::string>& complaint() const { return wrong; }

  private:
    struct Frame {
        bool isLast = false;
        unsigned opcode = 0;
        std::string payload;
    };

    void upgrade();
    std::optional<Frame> nextFrame();
    void take(Frame frame, std::vector<std::string>& texts);
    void sendFrame(unsigned opcode, std::string_view payload);
    void complain(std::uint16_t closeCode, std::string_view words);

    std::string input, output;
    std::optional<std::string> fragments;
    std::vector<std::string> pings; // Not answered yet.
    bool upgraded = false, closed = false;
    std::optional<std::string> wrong;
};

} // namespace orvel
