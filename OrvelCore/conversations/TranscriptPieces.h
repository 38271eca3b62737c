#pragma once
// The text of a transcript file, a piece at a time in the same memory.

#include "OrvelCore/files/FileReading.h"

#include <cstddef>
#include <memory>
#include <string_view>

namespace orvel {

/// Gives a file's text in pieces of whole lines, which end with line feeds.
class TranscriptPieces {
  public:
    /// How many bytes behind a piece may be read.
    static constexpr std::size_t padding = FileBytes::padding;

    /// Begins at the file's current position.
    explicit TranscriptPieces(ReadableFile& file) : file(file) {}

    /// The next piece, empty at the end; it lives until the next call. Throws FileError, and TranscriptError
    /// for a file that is too large or no UTF-8.
    std::string_view next();

  private:
    void readMore();

    ReadableFile& file;
    std::unique_ptr<char[]> buffer; // With the padding behind it.
    std::size_t capacity = 0;
    std::size_t filled = 0;
    std::size_t given = 0; // The piece that was given last, from the beginning.
    std::size_t total = 0; // Read so far.
    bool isAtEnd = false;
};

} // namespace orvel
