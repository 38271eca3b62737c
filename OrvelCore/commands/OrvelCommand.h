#pragma once
// The typed command: /orvel, and behind one separator the instructions for Orvel. Characters are
// user-perceived ones, so a letter that carries a mark is another letter and CR LF is one separator.

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

    /// The command that an editor's whole text is, or nothing. A blank that carries a mark is a blank.
    static std::optional<OrvelCommand> parse(std::string_view editorText);

    bool operator==(const OrvelCommand&) const = default;
};

/// What may be told about an editor's text without telling the text.
class ReturnInputClassification {
  public:
    enum class Case {
        unread,
        unavailable,
        command,
        empty,
        tooLong,
        invalidBoundary,
        leadingWhitespace,
        other
    };
    using enum Case; // In a template GCC 12 understands only Case::command.

    constexpr ReturnInputClassification(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    /// What the text is; never `unread` or `unavailable`, which are for texts that were not had.
    explicit ReturnInputClassification(std::string_view editorText);

  private:
    Case value;
};

/// The words that diagnostics print.
FixedWords rawValue(ReturnInputClassification classification);

} // namespace orvel
