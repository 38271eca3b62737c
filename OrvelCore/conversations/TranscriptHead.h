#pragma once
// The beginning of a transcript, record by record, read only as far as somebody asks. For source files only:
// it brings simdjson.

#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/text/JsonRecord.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Gives the records among the first `limit` bytes of a file, as if those bytes had been read at once and
/// split at every line feed. A last line that the limit cuts counts as a line. One object may read many
/// files, one after another, and keeps its buffers between them.
class TranscriptHead {
  public:
    explicit TranscriptHead(std::size_t limit) : limit(limit) {}

    /// Begins with another file, which must outlive the reading of its records.
    void open(ReadableFile& newFile);

    /// The next line that holds a JSON object; nothing at the end. It lives until the next call. Throws
    /// FileError.
    std::optional<simdjson::dom::object> next();

    /// The bytes of the file that have been read so far.
    std::string_view bytes() const { return {buffer.data(), filled}; }

  private:
    std::optional<std::string_view> nextLine();
    bool readMore();

    std::size_t limit;
    ReadableFile* file = nullptr;
    std::vector<char> buffer; // The file from its beginning, and padding.
    std::size_t filled = 0;
    std::size_t at = 0;
    JsonRecordParser parser;
};

} // namespace orvel
