#include "OrvelCore/commands/CommandRemoval.h"

#include <string>
#include <vector>

using namespace orvel;

namespace {

using Text = std::optional<std::string>;

// Answers as scripted and notes the order of the calls.
struct ScriptedEditor : CommandEditor {
    bool sameFirst = true, sameThen = true, writes = true;
    Text before, after;
    std::string calls;
    CommandRemovalReadback observed = CommandRemovalReadback::notAttempted;

    bool isSameFocusedEditor() override {
        const bool first = calls.find('f') == calls.npos;
        calls += 'f';
        return first ? sameFirst : sameThen;
    }
    Text readText() override {
        const bool written = calls.find('w') != calls.npos;
        calls += 'r';
        return written ? after : before;
    }
    bool writeEmpty() override {
        calls += 'w';
        return writes;
    }
    void observeReadback(CommandRemovalReadback readback) override {
        calls += 'o';
        observed = readback;
    }
};

const std::string expected = "/orvel x";

} // namespace

TEST(CommandRemoval, ErasesOnlyTheCapturedCommandAndJudgesWhatIsLeft) {
    using Outcome = CommandRemovalOutcome;
    using Readback = CommandRemovalReadback;
    const std::tuple<Text, Readback, Outcome, Outcome> rows[] = {
        {{}, Readback::unavailable, Outcome::verificationFailed, Outcome::verificationFailed},
        {"", Readback::empty, Outcome::cleared, Outcome::cleared},
        {"\n", Readback::whitespaceOnly, Outcome::cleared, Outcome::cleared},
        {"\u3000 \u2028", Readback::whitespaceOnly, Outcome::cleared, Outcome::cleared},
        {"\u200B", Readback::changed, Outcome::verificationFailed, Outcome::writeFailed},
        {expected, Readback::unchanged, Outcome::verificationFailed, Outcome::writeFailed},
        {expected + "\n", Readback::changed, Outcome::verificationFailed, Outcome::writeFailed}};
    for (const Text& before : {Text(expected), Text(expected + " "), Text(""), Text()})
        for (const auto& [text, readback, written, notWritten] : rows)
            for (int bits = 0; bits < 8; ++bits) {
                ScriptedEditor editor;
                editor.sameFirst = (bits & 1) != 0;
                editor.sameThen = (bits & 2) != 0;
                editor.writes = (bits & 4) != 0;
                editor.before = before;
                editor.after = text;
                const auto outcome = CommandRemoval::perform(expected, editor);
                if (!editor.sameFirst) {
                    EXPECT_EQ(outcome, Outcome::focusChanged);
                    EXPECT_EQ(editor.calls, "f");
                } else if (!before) {
                    EXPECT_EQ(outcome, Outcome::unavailable);
                    EXPECT_EQ(editor.calls, "fr");
                } else if (before != expected) {
                    EXPECT_EQ(outcome, Outcome::textChanged);
                    EXPECT_EQ(editor.calls, "fr");
                } else if (!editor.sameThen) {
                    EXPECT_EQ(outcome, Outcome::focusChanged);
                    EXPECT_EQ(editor.calls, "frf");
                } else {
                    EXPECT_EQ(outcome, editor.writes ? written : notWritten);
                    EXPECT_EQ(editor.calls, "frfwro");
                    EXPECT_EQ(editor.observed, readback);
                }
            }
}

TEST(CommandRemoval, NeverTouchesATextThatIsNoCommand) {
    for (const auto* text : {"", "hello", " /orvel", "/orvelx"}) {
        ScriptedEditor editor;
        editor.before = text;
        EXPECT_EQ(CommandRemoval::perform(text, editor), CommandRemovalOutcome::unavailable) << text;
        EXPECT_EQ(editor.calls, "");
    }
}

TEST(CommandRemovalReadback, MayBeReadAgainWhereNothingElseWasSeen) {
    using enum CommandRemovalReadback;
    for (const CommandRemovalReadback readback :
         {notAttempted, empty, whitespaceOnly, unchanged, changed, unavailable}) {
        EXPECT_EQ(confirmsRemoval(readback), readback == empty || readback == whitespaceOnly);
        EXPECT_EQ(canRetryReadOnly(readback), readback == unchanged || readback == unavailable);
    }
}
