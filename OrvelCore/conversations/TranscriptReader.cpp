#include "OrvelCore/conversations/TranscriptReader.h"

#include "OrvelCore/conversations/ClaudeRecords.h"
#include "OrvelCore/conversations/CodexRecords.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptLines.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/text/JsonRecord.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel::TranscriptReader {

namespace {

using Ends = TranscriptLines::Ends;

// Hands every record of the text to `records`, with its line number.
template <typename Records>
void takeRecords(std::string_view text, std::size_t readableBehind, Ends ends, Records& records) {
    JsonRecordParser parser;
    TranscriptLines lines(ends);
    lines.take(text);
    while (const auto line = lines.next()) {
        const auto lineEnd = static_cast<std::size_t>(line->text.data() + line->text.size() - text.data());
        const auto record = parser.parse(line->text, text.size() - lineEnd + readableBehind);
        if (!record) throw TranscriptError::malformedLine(line->number);
        records.take(*record, line->number);
    }
}

Conversation parsePadded(std::string_view text, std::size_t readableBehind, Ends ends,
                         Conversation conversation) {
    if (conversation.source == Agent::claude) {
        ClaudeRecords records(conversation);
        takeRecords(text, readableBehind, ends, records);
        records.resolveBranches();
    } else {
        CodexRecords records(conversation);
        takeRecords(text, readableBehind, ends, records);
    }
    if (conversation.messages.empty()) throw TranscriptError(TranscriptError::Case::noMessages);
    return conversation;
}

// Agents write some characters that end lines into strings as they are. Where the reading stops, it may be at
// one of these, and then line feeds alone end the lines.
Conversation parsePadded(std::string_view text, std::size_t readableBehind, const Conversation& empty) try {
    return parsePadded(text, readableBehind, Ends::newlines, empty);
} catch (const TranscriptError& first) {
    if (first.kind() != TranscriptError::Case::malformedLine) throw;
    try {
        return parsePadded(text, readableBehind, Ends::lineFeeds, empty);
    } catch (const TranscriptError& second) {
        if (second.kind() != TranscriptError::Case::malformedLine) throw;
    }
    throw;
}

} // namespace

Conversation read(const std::string& path, Agent source) {
    ReadableFile file(path);
    const auto bytes = file.size() <= maximumSize ? FileBytes::read(file, maximumSize) : std::nullopt;
    if (!bytes) throw TranscriptError(TranscriptError::Case::tooLarge);
    if (!isValidUTF8(bytes->view())) throw TranscriptError(TranscriptError::Case::invalidUTF8);
    // A file name need not be UTF-8, but everything that is shown or saved must.
    return parsePadded(
        bytes->view(), FileBytes::padding,
        {.id = displayable(standardizedPath(path)), .source = source, .title = displayable(pathStem(path))});
}

Conversation parse(std::string_view text, Agent source, std::string fallbackID, std::string title) {
    return parsePadded(text, 0, {.id = std::move(fallbackID), .source = source, .title = std::move(title)});
}

} // namespace orvel::TranscriptReader
