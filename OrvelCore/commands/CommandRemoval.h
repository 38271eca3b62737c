#pragma once
// Removing a captured command from its editor: nothing but the very text that was captured is ever erased,
// and the editor is read again to learn what became of it.

#include "OrvelCore/diagnostics/FixedWords.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

enum class CommandRemovalOutcome {
    cleared,
    focusChanged,
    textChanged,
    unavailable,
    writeFailed,
    verificationFailed
};

/// The sentence for the user.
FixedWords rawValue(CommandRemovalOutcome outcome);

/// What the editor held after the removal.
class CommandRemovalReadback {
  public:
    enum class Case { notAttempted, empty, whitespaceOnly, unchanged, changed, unavailable };
    using enum Case;

    constexpr CommandRemovalReadback(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    /// The judgement of a value read back, which is absent if it could not be read; never `notAttempted`.
    CommandRemovalReadback(std::optional<std::string_view> value, std::string_view expectedText);

    /// Editors leave a line break in an emptied field, so blanks confirm a removal as well.
    bool confirmsRemoval() const;

    /// Whether reading once more may give another answer.
    bool canRetryReadOnly() const;

  private:
    Case value;
};

/// The words that diagnostics print.
FixedWords rawValue(CommandRemovalReadback readback);

/// The editor that the removal works on.
class CommandEditor {
  public:
    virtual ~CommandEditor() = default;

    virtual bool isSameFocusedEditor() = 0;
    virtual std::optional<std::string> readText() = 0; ///< The whole text, absent if it can't be read.
    virtual bool writeEmpty() = 0;                     ///< Whether the write was reported as done.
    virtual void observeReadback(CommandRemovalReadback readback) = 0;
};

namespace CommandRemoval {

/// Empties the editor if it is still the focused one and still holds exactly these bytes, which must be a
/// command.
CommandRemovalOutcome perform(std::string_view expectedText, CommandEditor& editor);

} // namespace CommandRemoval
} // namespace orvel
