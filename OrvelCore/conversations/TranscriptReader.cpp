#include "OrvelCore/conversations/TranscriptReader.h"

#include "OrvelCore/conversations/ClaudeRecords.h"
#include "OrvelCore/conversations/CodexRecords.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptLines.h"
#include "OrvelCore/conversations/TranscriptPieces.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/JsonRecord.h"
#include "OrvelCore/text/Unicode.h"

#include <utility>

namespace orvel::TranscriptReader {

namespace {

using Ends = TranscriptLines::Ends;

// A text in memory as its only piece.
class WholeText {
  public:
    static constexpr std::size_t padding = 0;

    explicit WholeText(std::string_view text) : rest(text) {}
    std::string_view next() { return std::exchange(rest, {}); }

  private:
    std::string_view rest;
};

// Hands every record to `records`, with its line number.
template <typename Pieces, typename Records>
void takeRecords(Pieces& pieces, Ends ends, Records& records) try {
    JsonRecordParser parser;
    TranscriptLines lines(ends);
    for (auto piece = pieces.next(); !piece.empty(); piece = pieces.next()) {
        lines.take(piece);
        while (const auto line = lines.next()) {
            const auto end = static_cast<std::size_t>(line->text.data() + line->text.size() - piece.data());
            const auto record = parser.parse(line->text, piece.size() - end + Pieces::padding);
            if (!record) throw TranscriptError::malformedLine(line->number);
            records.take(*record, line->number);
        }
    }
} catch (const TranscriptError&) {
    // What is wrong with the file as a whole counts first.
    while (!pieces.next().empty()) continue;
    throw;
}

template <typename Pieces>
Conversation parsed(Pieces pieces, Ends ends, Conversation conversation) {
    if (conversation.source == Agent::claude) {
        ClaudeRecords records(conversation);
        takeRecords(pieces, ends, records);
        records.resolveBranches();
    } else {
        CodexRecords records(conversation);
        takeRecords(pieces, ends, records);
    }
    if (conversation.messages.empty()) throw TranscriptError(TranscriptError::Case::noMessages);
    return conversation;
}

// Agents write some characters that end lines into strings as they are. Where the reading stops, it may be at
// one of these, and then line feeds alone end the lines.
template <typename MakePieces>
Conversation parsed(MakePieces makePieces, const Conversation& empty) try {
    return parsed(makePieces(), Ends::newlines, empty);
} catch (const TranscriptError& first) {
    if (first.kind() != TranscriptError::Case::malformedLine) throw;
    try {
        return parsed(makePieces(), Ends::lineFeeds, empty);
    } catch (const TranscriptError& second) {
        if (second.kind() != TranscriptError::Case::malformedLine) throw;
    }
    throw;
}

} // namespace

Conversation read(const std::string& path, Agent source) {
    ReadableFile file(path);
    if (file.size() > maximumSize) throw TranscriptError(TranscriptError::Case::tooLarge);
    const auto pieces = [&] {
        file.rewind();
        return TranscriptPieces(file);
    };
    // A file name need not be UTF-8, but everything that is shown or saved must.
    return parsed(
        pieces,
        {.id = displayable(standardizedPath(path)), .source = source, .title = displayable(pathStem(path))});
}

Conversation parse(std::string_view text, Agent source, std::string fallbackID, std::string title) {
    return parsed([&] { return WholeText(text); },
                  {.id = std::move(fallbackID), .source = source, .title = std::move(title)});
}

} // namespace orvel::TranscriptReader
