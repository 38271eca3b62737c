#pragma once
// What a WebSocket's client sends, as plain as can be: any frame, also a wrong one.

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace orvel {

inline const std::string upgradeHead = "GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\n"
                                       "Connection: Upgrade\r\n"
                                       "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                                       "Sec-WebSocket-Version: 13\r\n\r\n";

/// A frame of less than 65,536 bytes with the shortest length form, masked.
inline std::string clientFrame(unsigned firstByte, std::string_view payload) {
    static constexpr std::string_view mask = "\x11\x22\x33\x44";
    const auto byte = [](std::size_t value) { return static_cast<char>(value & 0xFF); };
    std::string frame{byte(firstByte)};
    if (payload.size() < 126)
        frame += byte(0x80 | payload.size());
    else
        frame += {byte(0x80 | 126), byte(payload.size() >> 8), byte(payload.size())};
    frame += mask;
    for (std::size_t i = 0; i < payload.size(); ++i) frame += static_cast<char>(payload[i] ^ mask[i % 4]);
    return frame;
}

inline std::string clientText(std::string_view text) {
    return clientFrame(0x81, text);
}

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
