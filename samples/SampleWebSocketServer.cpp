#include "samples/SampleWebSocketServer.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <utility>

#include <openssl/evp.h>
#include <openssl/sha.h>

namespace orvel {

namespace {

constexpr std::size_t largestHead = 16'384;
constexpr std::uint64_t largestMessage = 16'777'216;
constexpr std::uint16_t protocolError = 1002, badText = 1007, tooBig = 1009;

enum Opcode : unsigned { continuation = 0x0, text = 0x1, closing = 0x8, ping = 0x9, pong = 0xA };

std::string base64(const unsigned char* bytes, std::size_t count) {
    std::string encoded(4 * ((count + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), bytes, static_cast<int>(count));
    encoded.resize(static_cast<std::size_t>(length));
    return encoded;
}

std::string acceptFor(const std::string& key) {
    const auto salted = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
    SHA1(reinterpret_cast<const unsigned char*>(salted.data()), salted.size(), digest.data());
    return base64(digest.data(), digest.size());
}

std::string lowerCased(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The 24 digits of 16 bytes.
bool isKey(std::string_view key) {
    const auto isDigit = [](unsigned char c) { return std::isalnum(c) || c == '+' || c == '/'; };
    return key.size() == 24 && key.ends_with("==") && std::all_of(key.begin(), key.end() - 2, isDigit);
}

} // namespace

std::vector<std::string> SampleWebSocketServer::receive(std::string_view bytes) {
    std::vector<std::string> texts;
    input += bytes;
    if (!upgraded && !closed) upgrade();
    while (upgraded && !closed) {
        auto frame = nextFrame();
        if (!frame) break;
        take(std::move(*frame), texts);
    }
    return texts;
}

void SampleWebSocketServer::sendPing(std::string_view payload) {
    pings.emplace_back(payload);
    sendFrame(ping, payload);
}

void SampleWebSocketServer::upgrade() {
    const auto end = input.find("\r\n\r\n");
    const auto refuse = [this](std::string_view words) {
        wrong = words;
        closed = true;
        output += "HTTP/1.1 400 Bad Request\r\ncontent-length: 0\r\n\r\n";
    };
    if (end == input.npos) {
        if (input.size() > largestHead) refuse("the head does not end");
        return;
    }
    const auto head = input.substr(0, end + 2);
    input.erase(0, end + 4);

    std::map<std::string, std::string> fields;
    std::size_t at = head.find("\r\n") + 2;
    const auto requestLine = head.substr(0, at - 2);
    while (at < head.size()) {
        const auto lineEnd = head.find("\r\n", at);
        const auto colon = head.find(": ", at);
        if (colon > lineEnd) return refuse("a head line without a name");
        fields[lowerCased(head.substr(at, colon - at))] = head.substr(colon + 2, lineEnd - colon - 2);
        at = lineEnd + 2;
    }
    if (requestLine != "GET / HTTP/1.1") return refuse("the request line");
    if (fields["host"].empty()) return refuse("no host");
    if (lowerCased(fields["upgrade"]) != "websocket") return refuse("no upgrade to a websocket");
    if (lowerCased(fields["connection"]) != "upgrade") return refuse("the connection is not to be upgraded");
    if (fields["sec-websocket-version"] != "13") return refuse("the version");
    if (!isKey(fields["sec-websocket-key"])) return refuse("the key");
    output += "HTTP/1.1 101 Switching Protocols\r\n"
              "connection: Upgrade\r\n"
              "upgrade: websocket\r\n"
              "sec-websocket-accept: " +
              acceptFor(fields["sec-websocket-key"]) +
              "\r\n"
              "x-codex-websocket-max-unfragmented-message-bytes: 16777216\r\n\r\n";
    upgraded = true;
}

std::optional<SampleWebSocketServer::Frame> SampleWebSocketServer::nextFrame() {
    const auto byteAt = [this](std::size_t at) { return static_cast<unsigned char>(input[at]); };
    if (input.size() < 2) return std::nullopt;
    Frame frame{.isLast = (byteAt(0) & 0x80) != 0, .opcode = byteAt(0) & 0x0FU};
    if (byteAt(0) & 0x70) return complain(protocolError, "a reserved bit"), std::nullopt;
    if (!(byteAt(1) & 0x80)) return complain(protocolError, "a frame without a mask"), std::nullopt;

    std::uint64_t length = byteAt(1) & 0x7FU;
    const std::size_t lengthBytes = length == 127 ? 8 : length == 126 ? 2 : 0;
    const std::size_t maskAt = 2 + lengthBytes;
    if (input.size() < maskAt + 4) return std::nullopt;
    if (lengthBytes > 0) {
        const auto least = lengthBytes == 8 ? 0x10000U : 126U;
        length = 0;
        for (std::size_t i = 2; i < maskAt; ++i) length = length << 8 | byteAt(i);
        if (length < least) return complain(protocolError, "a length that is not the shortest"), std::nullopt;
    }
    if (length > largestMessage) return complain(tooBig, "a frame too long"), std::nullopt;
    if (frame.opcode >= closing && (lengthBytes > 0 || !frame.isLast))
        return complain(protocolError, "a control frame in parts or too long"), std::nullopt;
    const auto payloadAt = maskAt + 4;
    if (input.size() - payloadAt < length) return std::nullopt;

    frame.payload = input.substr(payloadAt, length);
    for (std::size_t i = 0; i < frame.payload.size(); ++i)
        frame.payload[i] = static_cast<char>(frame.payload[i] ^ input[maskAt + i % 4]);
    input.erase(0, payloadAt + length);
    return frame;
}

void SampleWebSocketServer::take(Frame frame, std::vector<std::string>& texts) {
    switch (frame.opcode) {
    case continuation:
    case text:
        if ((frame.opcode == continuation) != fragments.has_value())
            return complain(protocolError, "a message inside another, or a part without a beginning");
        fragments = fragments.value_or("") + frame.payload;
        if (fragments->size() > largestMessage) return complain(tooBig, "a message too long");
        if (!frame.isLast) return;
        if (!isValidUTF8(*fragments)) return complain(badText, "a text that is no UTF-8");
        texts.push_back(std::move(*fragments));
        fragments.reset();
        return;
    case closing:
        sendFrame(closing, frame.payload);
        closed = true;
        return;
    case ping: return sendFrame(pong, frame.payload);
    case pong: {
        const auto answered = std::find(pings.begin(), pings.end(), frame.payload);
        if (answered == pings.end()) return complain(protocolError, "a pong to no ping");
        pings.erase(answered);
        return;
    }
    default: return complain(protocolError, "an unknown opcode");
    }
}

void SampleWebSocketServer::sendFrame(unsigned opcode, std::string_view payload) {
    output += static_cast<char>(0x80 | opcode);
    const auto append = [this, size = payload.size()](unsigned mark, int bytes) {
        output += static_cast<char>(mark);
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            output += static_cast<char>(size >> shift & 0xFF);
    };
    if (payload.size() < 126)
        output += static_cast<char>(payload.size());
    else if (payload.size() < 0x10000)
        append(126, 2);
    else
        append(127, 8);
    output += payload;
}

void SampleWebSocketServer::complain(std::uint16_t closeCode, std::string_view words) {
    wrong = words;
    sendFrame(closing, std::string{static_cast<char>(closeCode >> 8), static_cast<char>(closeCode & 0xFF)});
    closed = true;
}

} // namespace orvel
