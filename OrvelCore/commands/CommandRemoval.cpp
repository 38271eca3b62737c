#include "OrvelCore/commands/CommandRemoval.h"

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

FixedWords description(CommandRemovalOutcome outcome) {
    switch (outcome) {
    case CommandRemovalOutcome::cleared: return "Removed the command from the original editor.";
    case CommandRemovalOutcome::focusChanged:
        return "The editor changed, so the command was not removed. Instructions were passed to Orvel.";
    case CommandRemovalOutcome::textChanged:
        return "The input changed, so the command was not removed. Captured instructions were passed to "
               "Orvel.";
    case CommandRemovalOutcome::unavailable:
        return "Input state could not be verified, so the command was not removed. Instructions were passed "
               "to Orvel.";
    case CommandRemovalOutcome::writeFailed:
        return "Command removal could not be verified. Instructions were passed to Orvel. Check the original "
               "editor.";
    case CommandRemovalOutcome::verificationFailed: break;
    }
    return "Input state after removal could not be verified. Instructions were passed to Orvel. Check the "
           "original editor.";
}

FixedWords description(CommandRemovalReadback readback) {
    switch (readback) {
    case CommandRemovalReadback::notAttempted: return "Not attempted";
    case CommandRemovalReadback::empty: return "Empty confirmed";
    case CommandRemovalReadback::whitespaceOnly: return "Whitespace or line breaks only";
    case CommandRemovalReadback::unchanged: return "Same text as captured (content not recorded)";
    case CommandRemovalReadback::changed: return "Different text (content not recorded)";
    case CommandRemovalReadback::unavailable: break;
    }
    return "Unavailable";
}

CommandRemovalReadback removalReadback(std::optional<std::string_view> value, std::string_view expectedText) {
    using enum CommandRemovalReadback;
    if (!value) return unavailable;
    if (value->empty()) return empty;
    if (trimmed(*value).empty()) return whitespaceOnly;
    if (*value == expectedText) return unchanged;
    return changed;
}

bool confirmsRemoval(CommandRemovalReadback readback) {
    return readback == CommandRemovalReadback::empty || readback == CommandRemovalReadback::whitespaceOnly;
}

bool canRetryReadOnly(CommandRemovalReadback readback) {
    return readback == CommandRemovalReadback::unchanged || readback == CommandRemovalReadback::unavailable;
}

CommandRemovalOutcome CommandRemoval::perform(std::string_view expectedText, CommandEditor& editor) {
    if (!OrvelCommand::parse(expectedText)) return CommandRemovalOutcome::unavailable;
    if (!editor.isSameFocusedEditor()) return CommandRemovalOutcome::focusChanged;
    const auto text = editor.readText();
    if (!text) return CommandRemovalOutcome::unavailable;
    if (*text != expectedText) return CommandRemovalOutcome::textChanged;
    // Focus may have moved while the text was read.
    if (!editor.isSameFocusedEditor()) return CommandRemovalOutcome::focusChanged;

    const bool written = editor.writeEmpty();
    const auto readback = removalReadback(editor.readText(), expectedText);
    editor.observeReadback(readback);
    if (readback == CommandRemovalReadback::unavailable) return CommandRemovalOutcome::verificationFailed;
    if (confirmsRemoval(readback)) return CommandRemovalOutcome::cleared;
    return written ? CommandRemovalOutcome::verificationFailed : CommandRemovalOutcome::writeFailed;
}

} // namespace orvel
