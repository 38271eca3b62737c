#include "OrvelCore/conversations/TranscriptPieces.h"

#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cstring>

namespace orvel {

namespace {

// Stays in the processor's cache between the reading and the parsing.
constexpr std::size_t usualCapacity = 262'144;

} // namespace

std::string_view TranscriptPieces::next() {
    filled -= given;
    if (filled > 0) std::memmove(buffer.get(), buffer.get() + given, filled);
    given = 0;
    while (given == 0 && !isAtEnd) readMore();
    if (given == 0) given = filled;
    const std::string_view piece(buffer.get(), given);
    if (!isValidUTF8(piece)) throw TranscriptError(TranscriptError::Case::invalidUTF8);
    return piece;
}

// Reads on until the buffer is full, and ends the piece behind the last line feed.
void TranscriptPieces::readMore() {
    if (filled == capacity) {
        capacity = std::max(usualCapacity, 2 * capacity);
        auto larger = std::make_unique_for_overwrite<char[]>(capacity + padding);
        if (filled > 0) std::memcpy(larger.get(), buffer.get(), filled);
        buffer = std::move(larger);
    }
    const auto room = capacity - filled;
    const auto got = file.read(buffer.get() + filled, room);
    isAtEnd = got < room;
    total += got;
    if (total > TranscriptReader::maximumSize) throw TranscriptError(TranscriptError::Case::tooLarge);
    given = std::string_view(buffer.get(), filled + got).rfind('\n') + 1;
    filled += got;
    std::memset(buffer.get() + filled, 0, padding);
}

} // namespace orvel
