#include "OrvelCore/frames/CodexWebSocketCodec.h"

#include "Failures.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "reading/ServerFrames.h"

#include <vector>

namespace orvel {
namespace {

using namespace std::string_literals;
using Codec = CodexWebSocketCodec;
using Opcode = Codec::Opcode;

// What a codec gives for bytes that come in pieces: the events in order, and "invalid" at the first failure.
std::string eventsOf(std::string_view bytes, std::size_t piece) {
    std::string log;
    const auto note = [&](const std::string& entry) { log += (log.empty() ? "" : " ") + entry; };
    Codec codec;
    try {
        while (!bytes.empty()) {
            codec.append(bytes.substr(0, piece));
            bytes.remove_prefix(std::min(piece, bytes.size()));
            while (const auto event = codec.next()) {
                static constexpr const char* names[] = {"text", "ping", "pong", "close"};
                const auto& payload = event->payload;
                note(names[static_cast<int>(event->kind)] +
                     (payload.size() > 40 ? "#" + std::to_string(payload.size()) : "(" + payload + ")"));
            }
        }
    } catch (const CodexThreadLoaderError& failure) {
        EXPECT_EQ(failure.kind(), CodexThreadLoaderError::Kind::invalid);
        note("invalid");
    }
    return log;
}

std::string text(std::string_view payload) {
    return serverFrame(1, payload);
}

TEST(WebSocketCodec, GivesTheEventsOfAServerAndRefusesWhatItNeedNotSend) {
    const std::string longText(300, 'x'), longerText(70'000, 'y');
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"a text", text("hello"), "text(hello)"},
        {"lengths in all three forms", text(std::string(125, 'a')) + text(longText) + text(longerText),
         "text#125 text#300 text#70000"},
        {"pieces of a text", serverFrame(1, "he", false) + serverFrame(0, "l", false) + serverFrame(0, "lo"),
         "text(hello)"},
        {"a character cut in two pieces", serverFrame(1, "\xE6\x97", false) + serverFrame(0, "\xA5"),
         "text(日)"},
        {"a ping between pieces",
         serverFrame(1, "he", false) + serverFrame(9, "?") + serverFrame(0, "llo") + text("!"),
         "ping(?) text(hello) text(!)"},
        {"ping, pong and close", serverFrame(9, "") + serverFrame(10, "ignored") + serverFrame(8, ""),
         "ping() pong() close()"},
        {"a close with its reason",
         serverFrame(8, "\x03\xE8"
                        "bye"),
         "close()"},
        {"a length that is not all there", serverFrameHead(1, 70'000).substr(0, 9), ""},

        {"a close of one byte", serverFrame(8, "x"), "invalid"},
        {"text that is no UTF-8", text("\xC3("), "invalid"},
        {"pieces that are no UTF-8", serverFrame(1, "\xC3", false) + serverFrame(0, "("), "invalid"},
        {"a continuation of nothing", text("a") + serverFrame(0, "b"), "text(a) invalid"},
        {"a text while another is unfinished", serverFrame(1, "a", false) + text("b"), "invalid"},
        {"a masked frame", "\x81\x81"s + "abcd" + "x", "invalid"},
        {"the first reserved bit", "\xC1\x00"s, "invalid"},
        {"the second reserved bit", "\xA1\x00"s, "invalid"},
        {"the third reserved bit", "\x91\x00"s, "invalid"},
        {"a ping in pieces", "\x09\x00"s, "invalid"},
        {"a ping of two-byte length", "\x89\x7E"s + bigEndian(126, 2), "invalid"},
        {"a short length in two bytes", "\x81\x7E"s + bigEndian(125, 2), "invalid"},
        {"the least length in two bytes", "\x81\x7E"s + bigEndian(126, 2) + std::string(126, 'a'),
         "text#126"},
        {"a two-byte length in eight", "\x81\x7F"s + bigEndian(65'535, 8), "invalid"},
        {"the least length in eight bytes", "\x81\x7F"s + bigEndian(65'536, 8) + std::string(65'536, 'a'),
         "text#65536"},
        {"a length beyond 63 bits", "\x81\x7F"s + std::string(8, '\xFF'), "invalid"},
    };
    for (const auto& [name, bytes, events] : cases)
        for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, std::string::npos})
            EXPECT_EQ(eventsOf(bytes, piece), events) << name << " in pieces of " << piece;

    for (const int opcode : {2, 3, 4, 5, 6, 7, 11, 12, 13, 14, 15})
        EXPECT_EQ(eventsOf(serverFrame(opcode, ""), 1), "invalid") << "opcode " << opcode;
}

TEST(WebSocketCodec, LimitsMessagesAndWhatItHolds) {
    const std::string limit(Codec::maximumMessage, 'm');
    const std::string half = limit.substr(0, limit.size() / 2);
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"the largest message", text(limit), "text#8388608"},
        {"one byte more is refused by its length", serverFrameHead(1, limit.size() + 1), "invalid"},
        {"the largest in pieces", serverFrame(1, half, false) + serverFrame(0, half), "text#8388608"},
        {"one byte more in pieces",
         serverFrame(1, half, false) + serverFrame(0, half, false) + serverFrame(0, "x"), "invalid"},
        {"two of the largest", text(limit) + text(limit), "text#8388608 text#8388608"},
    };
    for (const auto& [name, bytes, events] : cases) EXPECT_EQ(eventsOf(bytes, 16'384), events) << name;

    // Bytes of a frame that is not all there, up to the limit and one beyond it.
    const auto pending = serverFrameHead(1, limit.size()) + limit;
    Codec codec;
    codec.append(pending);
    codec.append(pending.substr(0, Codec::maximumBuffer - pending.size()));
    EXPECT_THROW(codec.append("x"), CodexThreadLoaderError);
    EXPECT_TRUE(codec.next()); // What is consumed makes room again.
    EXPECT_NO_THROW(codec.append("x"));
    EXPECT_THROW(codec.append(std::string(Codec::maximumBuffer, 'x')), CodexThreadLoaderError);
}

// Would not end in the time of a test if the buffer were moved or searched again at every byte or frame.
TEST(WebSocketCodec, TakesLongMessagesByteByByteAndManySmallOnesAtOnce) {
    EXPECT_EQ(eventsOf(text(std::string(2'000'000, 'm')) + text("end"), 1), "text#2000000 text(end)");
    std::string small;
    while (small.size() < 2'000'000) small += text("x");
    Codec codec;
    codec.append(small);
    std::size_t count = 0;
    while (codec.next()) codec.append(++count % 2 ? "" : text("x"));
    EXPECT_EQ(count, 2 * (small.size() / text("x").size()) - 1);
}

TEST(WebSocketCodec, WritesMaskedFramesThatAServerReads) {
    const struct {
        Opcode opcode;
        std::size_t size, headSize; ///< 0 if the frame is refused.
    } cases[] = {
        {Opcode::text, 0, 2},          {Opcode::text, 1, 2},           {Opcode::text, 125, 2},
        {Opcode::text, 126, 4},        {Opcode::text, 65'535, 4},      {Opcode::text, 65'536, 10},
        {Opcode::text, 8'388'608, 10}, {Opcode::text, 8'388'609, 0},   {Opcode::close, 0, 2},
        {Opcode::close, 125, 2},       {Opcode::close, 126, 0},        {Opcode::pong, 125, 2},
        {Opcode::pong, 126, 0},        {Opcode::ping, 0, 0},           {Opcode::binary, 0, 0},
        {Opcode::continuation, 0, 0},  {static_cast<Opcode>(3), 0, 0},
    };
    const Codec::Mask mask{'\x01', '\x80', '\xff', '\x5a'};
    for (const auto& each : cases) {
        SCOPED_TRACE(std::to_string(static_cast<int>(each.opcode)) + ", " + std::to_string(each.size));
        std::string payload;
        while (payload.size() < each.size)
            payload += static_cast<char>(payload.size() * 7 + payload.size() / 256);
        if (each.headSize == 0) {
            EXPECT_THROW((void)Codec::clientFrame(each.opcode, payload, mask), CodexThreadLoaderError);
            continue;
        }
        const auto frame = Codec::clientFrame(each.opcode, payload, mask);
        const auto read = clientFrameAt(frame);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->opcode, static_cast<int>(each.opcode));
        EXPECT_TRUE(read->payload == payload);
        EXPECT_EQ(read->mask, std::string(mask.begin(), mask.end()));
        EXPECT_EQ(read->size, frame.size());
        EXPECT_EQ(frame.size(), each.headSize + 4 + each.size);
    }
}

TEST(WebSocketUpgrade, AcceptsOnlyThePlainAnswerToItsKey) {
    const auto key = "dGhlIHNhbXBsZSBub25jZQ==";
    const auto accept = "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n"s;
    const auto status = "HTTP/1.1 101 Switching Protocols\r\n"s;
    const auto upgrade = "Upgrade: websocket\r\n"s, connection = "Connection: Upgrade\r\n"s;
    const auto good = status + upgrade + connection + accept;
    const auto under = [&](const char* line) { return line + upgrade + connection + accept + "\r\n"; };
    const auto upgrading = [&](const char* line) { return status + line + connection + accept + "\r\n"; };
    const auto connecting = [&](const char* line) { return status + upgrade + line + accept + "\r\n"; };
    const auto accepting = [&](const char* line) { return status + upgrade + connection + line + "\r\n"; };
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"the plain answer", good + "\r\n", true},
        {"no words behind the status", under("HTTP/1.1 101\r\n"), true},
        {"blanks in the status line", under(" HTTP/1.1   101  Yes\r\n"), true},
        {"names and values in other cases", upgrading("UPGRADE: WebSocket\r\n"), true},
        {"blanks and tabs around values", upgrading("Upgrade: \t websocket \t\r\n"), true},
        {"no blank behind the colon", upgrading("Upgrade:websocket\r\n"), true},
        {"one of several options", connecting("connection: keep-alive, \tUPGRADE\r\n"), true},
        {"a header of the server's own", good + "X-Limit: 16:777\r\n\r\n", true},

        {"nothing", "", false},
        {"no end", good, false},
        {"something behind the end", good + "\r\nx", false},
        {"no UTF-8", good + "X-Name: \xFF\r\n\r\n", false},
        {"another version", under("HTTP/1.0 101 Yes\r\n"), false},
        {"another status", under("HTTP/1.1 200 OK\r\n"), false},
        {"a status with more digits", under("HTTP/1.1 1010 OK\r\n"), false},
        {"no status", under("HTTP/1.1\r\n"), false},
        {"a line without a colon", good + "nonsense\r\n\r\n", false},
        {"a repeated header", good + "X-A: 1\r\nx-a: 1\r\n\r\n", false},
        {"no upgrade", upgrading(""), false},
        {"another upgrade", upgrading("Upgrade: h2c\r\n"), false},
        {"a name with a blank", upgrading("Upgrade : websocket\r\n"), false},
        {"no connection", connecting(""), false},
        {"upgrade as part of an option", connecting("Connection: upgraded\r\n"), false},
        {"no accept", accepting(""), false},
        {"another key", accepting("Sec-WebSocket-Accept: AAAAAAAAAAAAAAAAAAAAAAAAAAA=\r\n"), false},
        {"another case", accepting("Sec-WebSocket-Accept: S3PPLMBITXAQ9KYGZZHZRBK+XOO=\r\n"), false},
        {"an extension", good + "Sec-WebSocket-Extensions:\r\n\r\n", false},
        {"a protocol", good + "Sec-WebSocket-Protocol: chat\r\n\r\n", false},
    };
    for (const auto& [name, head, isAccepted] : cases)
        EXPECT_EQ(caseOf([&] { Codec::validateUpgrade(head, key); }), isAccepted ? "done" : "invalid")
            << name;
}

} // namespace
} // namespace orvel
