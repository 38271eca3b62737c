#include "OrvelCore/conversations/TranscriptLines.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

namespace {

// How many lines end within the text.
std::size_t lineEndsIn(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = lineAt(text, 0).next; at <= text.size(); at = lineAt(text, at).next) ++count;
    return count;
}

} // namespace

std::optional<TranscriptLine> TranscriptLines::nextByNewlines() {
    while (at < piece.size()) {
        const auto line = lineAt(piece, at);
        at = line.next;
        ++number;
        if (line.text.find_first_not_of(" \t") != line.text.npos)
            return TranscriptLine{line.text, number - 1};
    }
    return std::nullopt;
}

std::optional<TranscriptLine> TranscriptLines::nextByLineFeeds() {
    while (at < piece.size()) {
        const auto line = piece.substr(at, piece.find('\n', at) - at);
        at += line.size() + 1;
        const auto blanks = std::min(line.find_first_not_of(" \t\r"), line.size());
        const TranscriptLine found{line.substr(blanks), number + lineEndsIn(line.substr(0, blanks))};
        number += lineEndsIn(line) + 1;
        if (!found.text.empty()) return found;
    }
    return std::nullopt;
}

} // namespace orvel
