#include "OrvelCore/frames/CodexWebSocketCodec.h"

#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/Base64.h"
#include "OrvelCore/text/Digest.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

namespace orvel {

namespace {

using Opcode = CodexWebSocketCodec::Opcode;
using Event = CodexWebSocketCodec::Event;

constexpr unsigned finalBit = 0x80, reservedBits = 0x70, opcodeBits = 0x0F;
constexpr unsigned maskBit = 0x80, lengthBits = 0x7F;
constexpr unsigned twoByteLength = 126, eightByteLength = 127;
constexpr std::size_t maximumControlPayload = 125;

void require(bool holds) {
    if (!holds) throw CodexThreadLoaderError::invalid();
}

bool isControl(Opcode opcode) {
    return opcode >= Opcode::close;
}

bool isAcceptedFromServer(Opcode opcode) {
    return opcode <= Opcode::text || (opcode >= Opcode::close && opcode <= Opcode::pong);
}

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

void appendBigEndian(std::string& bytes, std::size_t value, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift & 0xFF);
}

std::string textWithRoom(std::string_view payload) {
    std::string text;
    text.reserve(payload.size() + FileBytes::padding);
    text += payload;
    return text;
}

Event textEvent(std::string text) {
    require(isValidUTF8(text));
    return {Event::Kind::text, std::move(text)};
}

// Appends the bytes combined with the mask over and over, a word at a time: compilers make vector code of it.
void appendMasked(std::string& frame, std::string_view payload, const CodexWebSocketCodec::Mask& mask) {
    std::uint64_t maskWord = 0;
    std::array<char, sizeof maskWord> repeated;
    for (std::size_t i = 0; i < repeated.size(); ++i) repeated[i] = mask[i % mask.size()];
    std::memcpy(&maskWord, repeated.data(), sizeof maskWord);

    const auto begin = frame.size();
    frame.resize(begin + payload.size());
    char* const to = frame.data() + begin;
    const auto inWords = payload.size() - payload.size() % sizeof maskWord;
    for (std::size_t at = 0; at < inWords; at += sizeof maskWord) {
        std::uint64_t word = 0;
        std::memcpy(&word, payload.data() + at, sizeof word);
        word ^= maskWord;
        std::memcpy(to + at, &word, sizeof word);
    }
    for (auto at = inWords; at < payload.size(); ++at)
        to[at] = static_cast<char>(payload[at] ^ repeated[at % sizeof maskWord]);
}

// The head of an answer

std::string lowerCased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string_view withoutBlanks(std::string_view text) {
    static constexpr std::string_view blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == text.npos) return pieces;
        text.remove_prefix(end + separator.size());
    }
}

bool switchesProtocols(std::string_view statusLine) {
    auto pieces = split(statusLine, " ");
    std::erase(pieces, "");
    return pieces.size() >= 2 && pieces[0] == "HTTP/1.1" && pieces[1] == "101";
}

using Headers = std::map<std::string, std::string_view, std::less<>>;

Headers headersOf(const std::vector<std::string_view>& lines) {
    Headers headers;
    for (const auto line : lines) {
        if (line.empty()) continue;
        const auto colon = line.find(':');
        require(colon != line.npos);
        const bool isNew =
            headers.emplace(lowerCased(line.substr(0, colon)), withoutBlanks(line.substr(colon + 1))).second;
        require(isNew);
    }
    return headers;
}

std::string_view valueOf(const Headers& headers, std::string_view name) {
    const auto found = headers.find(name);
    require(found != headers.end());
    return found->second;
}

} // namespace

void CodexWebSocketCodec::append(std::string_view bytes) {
    require(bytes.size() <= maximumBuffer - (buffer.size() - consumed));
    // Moving what remains costs no more than was consumed, so all bytes together are moved once at most.
    if (consumed >= buffer.size() - consumed) {
        buffer.erase(0, consumed);
        consumed = 0;
    }
    buffer += bytes;
}

std::optional<Event> CodexWebSocketCodec::next() {
    while (const auto frame = nextFrame())
        if (auto event = eventOf(*frame)) return event;
    return std::nullopt;
}

std::optional<CodexWebSocketCodec::Frame> CodexWebSocketCodec::nextFrame() {
    const auto received = std::string_view(buffer).substr(consumed);
    if (received.size() < 2) return std::nullopt;
    const auto first = static_cast<unsigned char>(received[0]);
    const auto second = static_cast<unsigned char>(received[1]);
    const bool isFinal = (first & finalBit) != 0;
    const auto opcode = static_cast<Opcode>(first & opcodeBits);
    require((first & reservedBits) == 0);
    require((second & maskBit) == 0); // Servers do not mask.
    require(isAcceptedFromServer(opcode));

    std::size_t headSize = 2;
    std::uint64_t length = second & lengthBits;
    if (length == eightByteLength) {
        headSize += 8;
        if (received.size() < headSize) return std::nullopt;
        length = bigEndian(received.substr(2, 8));
        require(length >= 65'536 && length <= maximumMessage && !isControl(opcode));
    } else if (length == twoByteLength) {
        headSize += 2;
        if (received.size() < headSize) return std::nullopt;
        length = bigEndian(received.substr(2, 2));
        require(length >= 126 && !isControl(opcode));
    } else {
        require(isFinal || !isControl(opcode));
    }

    const auto size = headSize + static_cast<std::size_t>(length);
    if (received.size() < size) return std::nullopt;
    consumed += size;
    return Frame{opcode, isFinal, received.substr(headSize, size - headSize)};
}

std::optional<Event> CodexWebSocketCodec::eventOf(const Frame& frame) {
    switch (frame.opcode) {
    case Opcode::continuation:
        require(hasFragment);
        appendFragment(frame.payload);
        if (!frame.isFinal) return std::nullopt;
        hasFragment = false;
        return textEvent(std::exchange(fragmented, {}));
    case Opcode::text:
        require(!hasFragment);
        if (frame.isFinal) return textEvent(textWithRoom(frame.payload));
        hasFragment = true;
        appendFragment(frame.payload);
        return std::nullopt;
    case Opcode::close: require(frame.payload.size() != 1); return Event{Event::Kind::close, {}};
    case Opcode::ping: return Event{Event::Kind::ping, std::string(frame.payload)};
    case Opcode::pong: return Event{Event::Kind::pong, {}};
    case Opcode::binary: break;
    }
    throw CodexThreadLoaderError::invalid();
}

void CodexWebSocketCodec::appendFragment(std::string_view payload) {
    require(payload.size() <= maximumMessage - fragmented.size());
    fragmented += payload;
}

std::string CodexWebSocketCodec::clientFrame(Opcode opcode, std::string_view payload, const Mask& mask) {
    require(opcode == Opcode::text || opcode == Opcode::close || opcode == Opcode::pong);
    require(payload.size() <= (isControl(opcode) ? maximumControlPayload : maximumMessage));

    std::string frame;
    frame.reserve(2 + 8 + mask.size() + payload.size());
    frame += static_cast<char>(finalBit | static_cast<unsigned>(opcode));
    if (payload.size() <= 125) {
        frame += static_cast<char>(maskBit | payload.size());
    } else if (payload.size() <= 65'535) {
        frame += static_cast<char>(maskBit | twoByteLength);
        appendBigEndian(frame, payload.size(), 2);
    } else {
        frame += static_cast<char>(maskBit | eightByteLength);
        appendBigEndian(frame, payload.size(), 8);
    }
    frame.append(mask.data(), mask.size());
    appendMasked(frame, payload, mask);
    return frame;
}

void CodexWebSocketCodec::validateUpgrade(std::string_view head, std::string_view key) {
    static constexpr std::string_view lineEnd = "\r\n",
                                      handshakeGUID = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    require(isValidUTF8(head) && head.ends_with("\r\n\r\n"));
    auto lines = split(head, lineEnd);
    require(switchesProtocols(lines.front()));
    lines.erase(lines.begin());
    const auto headers = headersOf(lines);

    require(lowerCased(valueOf(headers, "upgrade")) == "websocket");
    const auto connection = lowerCased(valueOf(headers, "connection"));
    auto options = split(connection, ",");
    std::transform(options.begin(), options.end(), options.begin(), withoutBlanks);
    require(std::find(options.begin(), options.end(), "upgrade") != options.end());
    require(valueOf(headers, "sec-websocket-accept") == base64(sha1({key, handshakeGUID})));
    require(!headers.contains("sec-websocket-extensions") && !headers.contains("sec-websocket-protocol"));
}

} // namespace orvel
