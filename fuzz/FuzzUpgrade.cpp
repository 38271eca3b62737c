// The head of a server's answer to the upgrade.

#include "Claim.h"

#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/frames/CodexWebSocketCodec.h"

#include <cstdint>

using namespace orvel;

namespace {

constexpr std::string_view key = "dGhlIHNhbXBsZSBub25jZQ==", accept = "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=";

bool isAccepted(std::string_view head) try {
    CodexWebSocketCodec::validateUpgrade(head, key);
    return true;
} catch (const CodexThreadLoaderError& failure) {
    claim(failure.kind() == CodexThreadLoaderError::Kind::invalid, "a head is right or invalid");
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string head(reinterpret_cast<const char*>(data), size);
    if (!isAccepted(head)) return 0;
    claim(head.ends_with("\r\n\r\n"), "a head has its end");
    claim(head.find("HTTP/1.1") != head.npos && head.find(" 101") != head.npos, "a head has its status");
    claim(head.find(accept) != head.npos, "a head answers the key");
    claim(!isAccepted(head.substr(0, head.size() - 1)), "a head is whole");
    const auto with = [&](std::string_view line) {
        return head.substr(0, head.size() - 2) + std::string(line) + "\r\n\r\n";
    };
    claim(!isAccepted(with("upgrade: websocket")), "no header comes twice");
    claim(!isAccepted(with("sec-websocket-extensions: x")), "no extension is taken");
    claim(!isAccepted(with("Sec-WebSocket-Protocol: x")), "no protocol is taken");
    claim(!isAccepted(with("no header")), "every line is a header");
    auto other = head;
    for (auto at = other.find(accept); at != other.npos; at = other.find(accept))
        other.replace(at, accept.size(), std::string(accept.size(), 'A'));
    claim(!isAccepted(other), "only this key is answered");
    return 0;
}
