#include "OrvelCore/conversations/TranscriptError.h"

#include <array>

namespace orvel {

namespace {

struct Words {
    std::string_view name, text;
};

constexpr std::array<Words, 5> words{{
    {"malformedLine", ""},
    {"tooLarge", "The conversation file is too large. Choose a file no larger than 100 MB."},
    {"invalidUTF8", "Couldn't read the conversation file as UTF-8."},
    {"noMessages", "No user or assistant messages were found. Choose a supported JSONL file."},
    {"inheritedHistory", "Inherited history must be loaded through the Codex history API."},
}};

const Words& wordsOf(TranscriptError::Case kind) {
    return words[static_cast<std::size_t>(kind)];
}

} // namespace

TranscriptError::TranscriptError(Case kind)
    : TranscriptError(kind, wordsOf(kind).name, std::string(wordsOf(kind).text)) {}

TranscriptError TranscriptError::malformedLine(std::size_t line) {
    return {Case::malformedLine, wordsOf(Case::malformedLine).name,
            "Couldn't read conversation file line " + std::to_string(line) +
                ". If the file is being written, refresh it."};
}

TranscriptError::TranscriptError(Case kind, std::string_view name, std::string text)
    : Failure(name, std::move(text)), which(kind) {}

} // namespace orvel
