#pragma once
// A WebSocket as its server sees it, written without regard to how the client's side is written.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

inline std::string bigEndian(std::size_t value, int count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, value /= 256)
        *byte = static_cast<char>(value % 256);
    return bytes;
}

/// The head of an unmasked frame, its length in the shortest form.
inline std::string serverFrameHead(int opcode, std::size_t size, bool isFinal = true) {
    const std::string first(1, static_cast<char>((isFinal ? 128 : 0) + opcode));
    if (size < 126) return first + bigEndian(size, 1);
    if (size < 65'536) return first + '\x7E' + bigEndian(size, 2);
    return first + '\x7F' + bigEndian(size, 8);
}

inline std::string serverFrame(int opcode, std::string_view payload, bool isFinal = true) {
    return serverFrameHead(opcode, payload.size(), isFinal) + std::string(payload);
}

struct ClientFrame {
    int opcode = 0;
    std::string payload; ///< Without its mask.
    std::string mask;
    std::size_t size = 0; ///< Of the whole frame.
};

/// The frame at the front of the bytes, or nothing if it is not all there. Anything but a final masked frame
/// counts as opcode -1.
inline std::optional<ClientFrame> clientFrameAt(std::string_view bytes) {
    const auto number = [&](std::size_t at, std::size_t count) {
        std::size_t value = 0;
        for (const unsigned char byte : bytes.substr(at, count)) value = value * 256 + byte;
        return value;
    };
    if (bytes.size() < 2) return std::nullopt;
    const auto first = number(0, 1), second = number(1, 1);
    ClientFrame frame;
    frame.opcode = first / 16 == 8 && second >= 128 ? static_cast<int>(first % 16) : -1;
    std::size_t length = second % 128, at = 2;
    const std::size_t extra = length == 126 ? 2 : length == 127 ? 8 : 0;
    if (extra != 0) length = number(at, extra);
    at += extra;
    if (bytes.size() < at + 4 + length) return std::nullopt;
    frame.mask = bytes.substr(at, 4);
    for (std::size_t i = 0; i < length; ++i)
        frame.payload += static_cast<char>(bytes[at + 4 + i] ^ frame.mask[i % 4]);
    frame.size = at + 4 + length;
    return frame;
}

} // namespace orvel
