#include "OrvelCore/conversations/TranscriptHead.h"

#include <algorithm>
#include <cstring>

namespace orvel {

namespace {

// Real transcripts name themselves within their first records, so the first bite is small and the later ones
// double.
constexpr std::size_t firstBite = 16'384;

} // namespace

void TranscriptHead::open(ReadableFile& newFile) {
    file = &newFile;
    filled = 0;
    at = 0;
}

std::optional<simdjson::dom::object> TranscriptHead::next() {
    while (const auto line = nextLine()) {
        if (line->empty()) continue;
        const auto lineEnd = static_cast<std::size_t>(line->data() + line->size() - buffer.data());
        if (auto record = parser.parse(*line, buffer.size() - lineEnd)) return record;
    }
    return std::nullopt;
}

std::optional<std::string_view> TranscriptHead::nextLine() {
    std::size_t searched = at;
    for (;;) {
        const auto* found =
            filled > searched ? std::memchr(buffer.data() + searched, '\n', filled - searched) : nullptr;
        if (found) {
            const auto end = static_cast<std::size_t>(static_cast<const char*>(found) - buffer.data());
            const std::string_view line(buffer.data() + at, end - at);
            at = end + 1;
            return line;
        }
        searched = filled;
        if (readMore()) continue;
        if (at >= filled) return std::nullopt;
        const std::string_view line(buffer.data() + at, filled - at);
        at = filled;
        return line;
    }
}

bool TranscriptHead::readMore() {
    const auto target = std::min(limit, filled == 0 ? firstBite : 2 * filled);
    if (target <= filled) return false;
    if (buffer.size() < target + FileBytes::padding) buffer.resize(target + FileBytes::padding);
    const auto got = file->read(buffer.data() + filled, target - filled);
    filled += got;
    return got > 0;
}

} // namespace orvel
