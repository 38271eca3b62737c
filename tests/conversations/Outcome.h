#pragma once
// What became of a transcript, in one line that a table of cases can state.

#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/text/Failure.h"

#include <string>
#include <string_view>

namespace orvel {

/// A line of a transcript.
inline std::string record(std::string_view json) {
    return std::string(json) + '\n';
}

/// "user: text | assistant: text [busy] [ambiguous]", as far as it applies.
inline std::string outcomeOf(const Conversation& conversation) {
    std::string line;
    for (const auto& message : conversation.messages)
        line += (line.empty() ? "" : " | ") + message.role + ": " + message.text;
    if (conversation.isBusy) line += " [busy]";
    if (conversation.hasAmbiguousBranches) line += " [ambiguous]";
    return line;
}

/// The outcome of reading `text`, or the name of the failure's case.
inline std::string outcomeOf(std::string_view text, Agent agent) try {
    return outcomeOf(TranscriptReader::parse(text, agent, "fallback", "Title"));
} catch (const Failure& failure) {
    return std::string(failure.caseName());
}

/// The words of the failure to parse `text`; empty if there is none.
inline std::string failureOf(std::string_view text, Agent agent) try {
    (void)TranscriptReader::parse(text, agent, "fallback", "Title");
    return {};
} catch (const Failure& failure) {
    return failure.what();
}

} // namespace orvel
