#pragma once
// The lines of a transcript, under the two rules by which they may end.

#include <cstddef>
#include <optional>
#include <string_view>

namespace orvel {

struct TranscriptLine {
    std::string_view text;
    std::size_t number; ///< From 1.
};

/// Gives the lines that are not blank, of a text that comes in one or more pieces. Every piece but the last
/// ends with a line feed.
class TranscriptLines {
  public:
    /// What ends a line: every character of the newline class, or line feeds alone. A line has the same
    /// number under both rules: that of the line, by the newline class, on which its record begins.
    enum class Ends { newlines, lineFeeds };

    explicit TranscriptLines(Ends ends) : ends(ends) {}

    /// Begins with the next piece, which must outlive the lines.
    void take(std::string_view nextPiece) {
        piece = nextPiece;
        at = 0;
    }

    /// The next line of the piece; nothing at its end.
    std::optional<TranscriptLine> next() {
        return ends == Ends::newlines ? nextByNewlines() : nextByLineFeeds();
    }

  private:
    std::optional<TranscriptLine> nextByNewlines();
    std::optional<TranscriptLine> nextByLineFeeds();

    Ends ends;
    std::string_view piece;
    std::size_t at = 0;
    std::size_t number = 1; // Of the line, by the newline class, that begins at `at`.
};

} // namespace orvel
