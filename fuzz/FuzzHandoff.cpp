// Handoff URLs, and the file of earlier positions.

#include "Claim.h"

#include "OrvelCore/conversations/Handoff.h"
#include "OrvelCore/text/Unicode.h"

#include <cstdint>
#include <stdexcept>

using namespace orvel;

namespace {

std::string percentEncoded(std::string_view text) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += digits[byte >> 4];
        encoded += digits[byte & 15];
    }
    return encoded;
}

std::string urlOf(const HandoffRequest& request) {
    auto url = "orvel://handoff?source=" + std::string(rawValue(request.source));
    if (request.file) url += "&file=" + percentEncoded(*request.file);
    if (request.sessionID) url += "&session_id=" + percentEncoded(*request.sessionID);
    return url + "&instruction=" + percentEncoded(request.instruction);
}

void decodeState(std::string_view json) try {
    HandoffState::decode(json);
} catch (const std::runtime_error&) {
    // Words for the user, as promised.
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    decodeState(text);
    const auto request = HandoffRequest::parse(text);
    if (!request) return 0;
    claim(text.starts_with("orvel://"), "the scheme is exact");
    claim(!request->file || request->file->starts_with('/'), "a file is absolute");
    claim(!request->file || isValidUTF8(*request->file), "a file is UTF-8");
    claim(!request->sessionID || (request->file && request->sessionID->size() == 36), "a session has a file");
    claim(isValidUTF8(request->instruction), "an instruction is UTF-8");
    claim(HandoffRequest::parse(urlOf(*request)) == request, "the request survives another URL");
    return 0;
}
