#pragma once
// Removes a captured command from its editor: erases exactly the captured text and nothing else, then reads
// the editor back.

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
FixedWords description(CommandRemovalOutcome outcome);

/// What the editor held after the removal.
enum class CommandRemovalReadback { notAttempted, empty, whitespaceOnly, unchanged, changed, unavailable };

/// The words for diagnostics.
FixedWords description(CommandRemovalReadback readback);

/// Judges a value that was read back, absent if it could not be read. Never `notAttempted`.
CommandRemovalReadback removalReadback(std::optional<std::string_view> value, std::string_view expectedText);

/// Whether the editor is empty. A line break counts as empty: some editors leave one behind.
bool confirmsRemoval(CommandRemovalReadback readback);

/// Whether reading again, without writing, could give another answer.
bool canRetryReadOnly(CommandRemovalReadback readback);

/// The editor to remove the command from.
class CommandEditor {
  public:
    virtual ~CommandEditor() = default;

    virtual bool isSameFocusedEditor() = 0;
    virtual std::optional<std::string> readText() = 0; ///< The whole text; absent if it can't be read.
    virtual bool writeEmpty() = 0;                     ///< Whether the write was reported as done.
    virtual void observeReadback(CommandRemovalReadback readback) = 0;
};

namespace CommandRemoval {

/// Empties the editor if it still has the focus and still holds exactly these bytes, which must be a command.
CommandRemovalOutcome perform(std::string_view expectedText, CommandEditor& editor);

} // namespace CommandRemoval
} // namespace orvel
