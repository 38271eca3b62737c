#pragma once
// The client's side of a WebSocket, as plain as can be: it makes any frame, also a wrong one, and takes the
// server's bytes apart.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvel {

inline const std::string upgradeHead = "GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\n"
                                       "Connection: Upgrade\r\n"
                                       "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                                       "Sec-WebSocket-Version: 13\r\n\r\n";

/// A frame with the shortest length form, masked.
inline std::string clientFrame(unsigned firstByte, std::string_view payload) {
    static constexpr std::string_view mask = "\x11\x22\x33\x44";
    std::string frame(1, static_cast<char>(firstByte));
    const auto length = [&](unsigned mark, int bytes) {
        frame += static_cast<char>(0x80 | mark);
        for (int i = bytes - 1; i >= 0; --i) frame += static_cast<char>(payload.size() >> 8 * i);
    };
    if (payload.size() < 126)
        length(static_cast<unsigned>(payload.size()), 0);
    else if (payload.size() < 65'536)
        length(126, 2);
    else
        length(127, 8);
    frame += mask;
    for (std::size_t i = 0; i < payload.size(); ++i) frame += static_cast<char>(payload[i] ^ mask[i % 4]);
    return frame;
}

inline std::string clientText(std::string_view text) {
    return clientFrame(0x81, text);
}

struct ServerFrame {
    unsigned firstByte;
    std::string payload;

    bool operator==(const ServerFrame&) const = default;
};

/// Takes the whole frames from the front of `bytes`.
inline std::vector<ServerFrame> takeFrames(std::string& bytes) {
    std::vector<ServerFrame> frames;
    while (bytes.size() >= 2) {
        const auto at = [&](std::size_t i) -> std::uint64_t { return static_cast<unsigned char>(bytes[i]); };
        if (at(1) & 0x80) throw std::runtime_error("the server masks");
        std::uint64_t length = at(1);
        const std::size_t extra = length == 126 ? 2 : length == 127 ? 8 : 0;
        if (bytes.size() < 2 + extra) break;
        if (extra) length = 0;
        for (std::size_t i = 0; i < extra; ++i) length = length << 8 | at(2 + i);
        if (bytes.size() - 2 - extra < length) break;
        frames.push_back({static_cast<unsigned>(at(0)), bytes.substr(2 + extra, length)});
        bytes.erase(0, 2 + extra + length);
    }
    return frames;
}

/// What a well-behaved client keeps in mind between the server's bytes: it answers pings and collects texts.
class WebSocketClient {
  public:
    /// Takes bytes from the server; gives what has to be sent back.
    std::string receive(std::string_view newBytes) {
        bytes += newBytes;
        if (!upgraded) {
            const auto end = bytes.find("\r\n\r\n");
            if (end == bytes.npos) return {};
            upgraded = true;
            bytes.erase(0, end + 4);
        }
        std::string answer;
        for (const auto& frame : takeFrames(bytes)) {
            if (frame.firstByte == 0x89) answer += clientFrame(0x8A, frame.payload);
            if (frame.firstByte == 0x81) messages.push_back(nlohmann::json::parse(frame.payload));
        }
        return answer;
    }

    /// Every text of the server, in order.
    std::vector<nlohmann::json> messages;

  private:
    std::string bytes;
    bool upgraded = false;
};

inline std::string requestText(int id, std::string_view method, nlohmann::json params) {
    return clientText(nlohmann::json{{"id", id}, {"method", method}, {"params", std::move(params)}}.dump());
}

/// The introduction and, if an identifier is given, the becoming of its writer.
inline std::string connecting(std::string_view threadID = {}) {
    auto bytes = upgradeHead + requestText(1, "initialize", {{"clientInfo", {{"name", "test"}}}}) +
                 clientText(R"({"method":"initialized","params":{}})");
    if (!threadID.empty()) bytes += requestText(2, "thread/resume", {{"threadId", threadID}});
    return bytes;
}

} // namespace orvel
