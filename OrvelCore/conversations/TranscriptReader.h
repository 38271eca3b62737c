#pragma once
// Reads the transcript of either agent, a JSON Lines file, into a Conversation. There is no partial result:
// one line that is no JSON object ends the reading, unless all lines are objects where line feeds alone end
// them. JsonRecord.h says what becomes of JSON that the standard leaves open.

#include "OrvelCore/conversations/Conversation.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace orvel::TranscriptReader {

/// The largest transcript that is read, in bytes.
inline constexpr std::uint64_t maximumSize = 100'000'000;

/// The conversation in the file. Its title is the file's name without extension, its id the transcript's
/// session or else the standardised path. Throws TranscriptError, and FileError where the file system
/// refuses.
Conversation read(const std::string& path, Agent source);

/// The conversation in `text`, the whole of a transcript. Throws TranscriptError.
Conversation parse(std::string_view text, Agent source, std::string fallbackID, std::string title);

} // namespace orvel::TranscriptReader
