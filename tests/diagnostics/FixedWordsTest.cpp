// The words that users and diagnostics read, case by case.

#include "OrvelCore/commands/CommandRemoval.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/composers/ClaudeComposer.h"

#include <gtest/gtest.h>

using namespace orvel;

namespace {

template <typename Value>
struct Row {
    Value value;
    std::string_view words;
};

template <typename Value, std::size_t size>
void check(const Row<Value> (&rows)[size]) {
    for (const auto& [value, words] : rows) EXPECT_EQ(description(value).view(), words);
}

} // namespace

TEST(FixedWords, OfARemoval) {
    using enum CommandRemovalOutcome;
    check<CommandRemovalOutcome>({
        {cleared, "Removed the command from the original editor."},
        {focusChanged,
         "The editor changed, so the command was not removed. Instructions were passed to Orvel."},
        {textChanged,
         "The input changed, so the command was not removed. Captured instructions were passed to Orvel."},
        {unavailable, "Input state could not be verified, so the command was not removed. Instructions were "
                      "passed to Orvel."},
        {writeFailed, "Command removal could not be verified. Instructions were passed to Orvel. Check the "
                      "original editor."},
        {verificationFailed, "Input state after removal could not be verified. Instructions were passed to "
                             "Orvel. Check the original editor."},
    });
    check<CommandRemovalReadback>({
        {CommandRemovalReadback::notAttempted, "Not attempted"},
        {CommandRemovalReadback::empty, "Empty confirmed"},
        {CommandRemovalReadback::whitespaceOnly, "Whitespace or line breaks only"},
        {CommandRemovalReadback::unchanged, "Same text as captured (content not recorded)"},
        {CommandRemovalReadback::changed, "Different text (content not recorded)"},
        {CommandRemovalReadback::unavailable, "Unavailable"},
    });
}

TEST(FixedWords, OfAReturn) {
    check<ReturnInputClassification>({
        {ReturnInputClassification::unread, "Not read"},
        {ReturnInputClassification::unavailable, "Unavailable"},
        {ReturnInputClassification::command, "/orvel syntax matched"},
        {ReturnInputClassification::empty, "Empty input"},
        {ReturnInputClassification::tooLong, "Length limit exceeded"},
        {ReturnInputClassification::invalidBoundary, "Invalid separator after command"},
        {ReturnInputClassification::leadingWhitespace, "Whitespace or line break before command"},
        {ReturnInputClassification::other, "Not command syntax (content not recorded)"},
    });
    check<OrvelReturnShortcut>({
        {OrvelReturnShortcut::plain, "Return"},
        {OrvelReturnShortcut::command, "⌘Return"},
    });
    check<MarkedTextEvidence>({
        {MarkedTextEvidence::marked, "marked"},
        {MarkedTextEvidence::absent, "absent"},
        {MarkedTextEvidence::unsupported, "unsupported"},
        {MarkedTextEvidence::unavailable, "unavailable"},
    });
}

TEST(FixedWords, OfAComposer) {
    check<ComposerRecognition>({
        {ComposerRecognition::verified, "Conversation editor structure verified"},
        {ComposerRecognition::excluded, "Not a conversation editor; excluded"},
        {ComposerRecognition::uncertain, "Possible conversation editor; structure not fully verified"},
    });
    using enum ClaudeComposerDiagnosis;
    check<ClaudeComposerDiagnosis>({
        {matched, "Regular chat and nearby Send button: Match"},
        {matchedCode, "Existing Code conversation and nearby Send button: Match"},
        {webAreaUnavailable, "Nearest web area: Unavailable"},
        {ancestorDepthLimit, "Ancestor search: Depth limit reached"},
        {ancestorCycle, "Ancestor search: Cycle detected"},
        {ancestorReadFailed, "Ancestor search: Element read failed"},
        {ancestorChainEnded, "Ancestor search: Parent chain ended before Window / Application"},
        {webAreaMissing, "Ancestor search: Reached Window / Application without a web area"},
        {unsupportedRoute, "Nearest web area: Not a regular chat"},
        {dialog, "Editor in a dialog: Unsupported"},
        {unavailable, "Nearby structure: Unavailable or search limit reached"},
        {messageEditor, "Editor with Save/Cancel controls: Unsupported"},
        {ambiguousEditors, "Multiple nearby editors: Unsupported"},
        {sendButtonMissing, "Nearby Send button: Unverified"},
    });
}
