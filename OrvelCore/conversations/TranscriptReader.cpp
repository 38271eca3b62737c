#include "OrvelCore/conversations/TranscriptReader.h"

#include "OrvelCore/conversations/ClaudeRecords.h"
#include "OrvelCore/conversations/CodexRecords.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/text/JsonRecord.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel::TranscriptReader {

namespace {

// Hands every record of the text to `records`, with its line number.
template <typename Records>
void takeRecords(std::string_view text, std::size_t readableBehind, Records& records) {
    JsonRecordParser parser;
    std::size_t number = 1;
    for (std::size_t at = 0; at <= text.size(); ++number) {
        const auto line = lineAt(text, at);
        at = line.next;
        if (line.text.find_first_not_of(" \t") == line.text.npos) continue;
        const auto lineEnd = static_cast<std::size_t>(line.text.data() + line.text.size() - text.data());
        const auto record = parser.parse(line.text, text.size() - lineEnd + readableBehind);
        if (!record) throw TranscriptError::malformedLine(number);
        records.take(*record, number);
    }
}

Conversation parsePadded(std::string_view text, std::size_t readableBehind, Agent source,
                         std::string fallbackID, std::string title) {
    Conversation conversation{.id = std::move(fallbackID), .source = source, .title = std::move(title)};
    if (source == Agent::claude) {
        ClaudeRecords records(conversation);
        takeRecords(text, readableBehind, records);
        records.resolveBranches();
    } else {
        CodexRecords records(conversation);
        takeRecords(text, readableBehind, records);
    }
    if (conversation.messages.empty()) throw TranscriptError(TranscriptError::Case::noMessages);
    return conversation;
}

} // namespace

Conversation read(const std::string& path, Agent source) {
    ReadableFile file(path);
    const auto bytes = file.size() <= maximumSize ? FileBytes::read(file, maximumSize) : std::nullopt;
    if (!bytes) throw TranscriptError(TranscriptError::Case::tooLarge);
    if (!isValidUTF8(bytes->view())) throw TranscriptError(TranscriptError::Case::invalidUTF8);
    // A file name need not be UTF-8, but everything that is shown or saved must.
    return parsePadded(bytes->view(), FileBytes::padding, source, displayable(standardizedPath(path)),
                       displayable(pathStem(path)));
}

Conversation parse(std::string_view text, Agent source, std::string fallbackID, std::string title) {
    return parsePadded(text, 0, source, std::move(fallbackID), std::move(title));
}

} // namespace orvel::TranscriptReader
