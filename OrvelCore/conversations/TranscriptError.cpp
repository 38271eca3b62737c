#include "OrvelCore/conversations/TranscriptError.h"

#include <array>

namespace orvel {

namespace {

constexpr std::array<FailureWords, 5> words{{
    {"malformedLine", ""}, // Its text holds the line.
    {"tooLarge", "The conversation file is too large. Choose a file no larger than 100 MB."},
    {"invalidUTF8", "Couldn't read the conversation file as UTF-8."},
    {"noMessages", "No user or assistant messages were found. Choose a supported JSONL file."},
    {"inheritedHistory", "Inherited history must be loaded through the Codex history API."},
}};

} // namespace

TranscriptError::TranscriptError(Case kind) : Failure(words[static_cast<std::size_t>(kind)]), which(kind) {}

TranscriptError::TranscriptError(std::size_t line)
    : Failure(words.front().name, "Couldn't read conversation file line " + std::to_string(line) +
                                      ". If the file is being written, refresh it."),
      which(Case::malformedLine) {}

TranscriptError TranscriptError::malformedLine(std::size_t line) {
    return TranscriptError(line);
}

} // namespace orvel
