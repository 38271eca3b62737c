#pragma once
// The typed command: /orvel, then one separator and the instructions for Orvel. Characters are user-perceived
// characters: a letter with a combining mark is a different letter, and CR LF is one separator.

#include "OrvelCore/diagnostics/FixedWords.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

struct OrvelCommand {
    static constexpr std::string_view word = "/orvel";
    static constexpr std::size_t maximumBytes = 100'000; ///< Of the whole text.

    std::string instruction; ///< Verbatim: not trimmed, line breaks kept.

    /// Parses an editor's whole text; nothing if it is not the command. A blank with a combining mark is a
    /// blank.
    static std::optional<OrvelCommand> parse(std::string_view editorText);

    bool operator==(const OrvelCommand&) const = default;
};

/// What may be said about an editor's text without revealing it.
enum class ReturnInputClassification {
    unread,
    unavailable,
    command,
    empty,
    tooLong,
    invalidBoundary,
    leadingWhitespace,
    other
};

/// The words for diagnostics.
FixedWords description(ReturnInputClassification classification);

/// Classifies a text. Never `unread` or `unavailable`, which stand for a text that was not obtained.
ReturnInputClassification classifyInput(std::string_view editorText);

} // namespace orvel
