// Frames of a server, however they are cut, and the frames that answer them.

#include "Claim.h"

#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/frames/CodexWebSocketCodec.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

using namespace orvel;

namespace {

using Codec = CodexWebSocketCodec;

// The events of the bytes, and whether all of them were accepted.
struct Reading {
    std::vector<Codec::Event> events;
    bool isAccepted = true;

    bool operator==(const Reading&) const = default;
};

// The pieces are as long as the cuts say, over and over.
Reading readInPieces(std::string_view bytes, std::string_view cuts) {
    Reading reading;
    Codec codec;
    try {
        for (std::size_t cut = 0; !bytes.empty(); ++cut) {
            const auto size =
                cuts.empty() ? bytes.size() : std::size_t(1) + std::uint8_t(cuts[cut % cuts.size()]);
            codec.append(bytes.substr(0, size));
            bytes.remove_prefix(std::min(size, bytes.size()));
            while (auto event = codec.next()) reading.events.push_back(std::move(*event));
        }
    } catch (const CodexThreadLoaderError& failure) {
        claim(failure.kind() == CodexThreadLoaderError::Kind::invalid, "frames are right or invalid");
        reading.isAccepted = false;
    }
    return reading;
}

void checkClientFrame(std::string_view payload) {
    const auto frame = Codec::clientFrame(Codec::Opcode::text, payload, {1, 2, 3, 4});
    const std::size_t head = frame.size() - payload.size();
    claim(head == (payload.size() < 126      ? 6
                   : payload.size() < 65'536 ? 8
                                             : 14),
          "a length is in its shortest form");
    for (std::size_t i = 0; i < payload.size(); ++i)
        claim((frame[head + i] ^ frame[head - 4 + i % 4]) == payload[i], "the mask gives the payload back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first byte says how many of the following ones cut the rest into pieces.
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t count = bytes.empty() ? 0 : std::min(std::size_t(bytes[0] & 7), bytes.size() - 1);
    const auto cuts = bytes.substr(std::min<std::size_t>(1, size), count);
    bytes.remove_prefix(bytes.empty() ? 0 : 1 + count);

    const auto whole = readInPieces(bytes, "");
    claim(readInPieces(bytes, cuts) == whole, "cuts change nothing");
    claim(readInPieces(bytes, std::string_view("\0", 1)) == whole, "single bytes change nothing");
    std::size_t total = 0;
    for (const auto& event : whole.events) {
        if (event.kind == Codec::Event::Kind::text) claim(isValidUTF8(event.payload), "a text is UTF-8");
        if (event.kind == Codec::Event::Kind::ping)
            claim(event.payload.size() < 126, "a ping can be answered");
        total += event.payload.size() + 2;
    }
    claim(total <= bytes.size(), "nothing comes from nothing");
    checkClientFrame(bytes);
    return 0;
}
