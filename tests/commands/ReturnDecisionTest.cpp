#include "OrvelCore/commands/ReturnDecision.h"

#include <gtest/gtest.h>

using namespace orvel;

TEST(CompositionState, IsClearOnlyUnderASourceThatCannotCompose) {
    using enum MarkedTextEvidence;
    using enum CompositionState;
    const struct {
        MarkedTextEvidence evidence;
        CompositionState ascii, other;
    } rows[] = {{marked, composing, composing},
                {absent, clear, unknown},
                {unsupported, clear, unknown},
                {unavailable, unknown, unknown}};
    for (const auto& row : rows) {
        EXPECT_EQ(compositionState(row.evidence, true), row.ascii) << description(row.evidence).view();
        EXPECT_EQ(compositionState(row.evidence, false), row.other) << description(row.evidence).view();
    }
}

TEST(KnownASCIISource, IsOneOfFourPairsOfIdAndType) {
    const std::string layout = "TISTypeKeyboardLayout", mode = "TISTypeKeyboardInputMode";
    const std::string kotoeri = "com.apple.inputmethod.Kotoeri.";
    const std::optional<std::string_view> none;
    const std::string kana = kotoeri + "KanaTyping.Roman", romaji = kotoeri + "RomajiTyping.Roman",
                      hiragana = kotoeri + "RomajiTyping.Japanese";
    const std::optional<std::string_view> ids[] = {"com.apple.keylayout.ABC",
                                                   "com.apple.keylayout.US",
                                                   kana,
                                                   romaji,
                                                   hiragana,
                                                   "com.apple.keylayout.USExtended",
                                                   "",
                                                   none};
    const std::optional<std::string_view> types[] = {layout, mode, "TISTypeKeyboardInputMethodWithoutModes",
                                                     "", none};
    for (std::size_t id = 0; id < std::size(ids); ++id)
        for (std::size_t type = 0; type < std::size(types); ++type) {
            const bool known = (id < 2 && type == 0) || ((id == 2 || id == 3) && type == 1);
            EXPECT_EQ(KnownASCIISource::matches(ids[id], types[type], true), known) << id << ' ' << type;
            EXPECT_FALSE(KnownASCIISource::matches(ids[id], types[type], false));
        }
}

TEST(OrvelReturnShortcut, IsReturnAloneOrWithCommandAlone) {
    for (int modifiers = 0; modifiers < 32; ++modifiers) {
        const auto shortcut = returnShortcut({modifiers});
        if (modifiers == 0)
            EXPECT_EQ(shortcut, OrvelReturnShortcut::plain);
        else if (modifiers == 1)
            EXPECT_EQ(shortcut, OrvelReturnShortcut::command);
        else
            EXPECT_FALSE(shortcut) << modifiers;
    }
}

TEST(OrvelCommandPolicy, KnowsTheApplicationsByTheirExactIdentifiers) {
    EXPECT_EQ(OrvelCommandPolicy::source("com.openai.codex"), Agent::codex);
    EXPECT_EQ(OrvelCommandPolicy::source("com.anthropic.claudefordesktop"), Agent::claude);
    for (const auto* other : {"", "com.openai.Codex", "com.openai.codex.helper", "com.anthropic.claude"})
        EXPECT_FALSE(OrvelCommandPolicy::source(other)) << other;
    EXPECT_FALSE(OrvelCommandPolicy::source(std::nullopt));
}

TEST(OrvelCommandPolicy, PassesACommandOnlyIfEveryConditionHolds) {
    using Shortcut = std::optional<OrvelReturnShortcut>;
    int passed = 0;
    for (const auto* bundle : {"com.openai.codex", "com.anthropic.claudefordesktop", "com.example"})
        for (const bool matches : {true, false})
            for (const bool editable : {true, false})
                for (const auto state :
                     {CompositionState::clear, CompositionState::composing, CompositionState::unknown})
                    for (const auto shortcut : {Shortcut(OrvelReturnShortcut::plain),
                                                Shortcut(OrvelReturnShortcut::command), Shortcut()})
                        for (const bool isRepeat : {true, false}) {
                            const auto command = OrvelCommandPolicy::command(bundle, matches, editable, state,
                                                                             shortcut, isRepeat, "/orvel x");
                            passed += command ? 1 : 0;
                            if (!command) continue;
                            EXPECT_EQ(command->instruction, "x");
                            EXPECT_TRUE(std::string_view(bundle) != "com.example" && matches && editable &&
                                        state == CompositionState::clear && shortcut && !isRepeat);
                        }
    EXPECT_EQ(passed, 4); // Two applications, two shortcuts.
    EXPECT_FALSE(OrvelCommandPolicy::command("com.openai.codex", true, true, CompositionState::clear,
                                             OrvelReturnShortcut::plain, false, "hello"));
}

TEST(CommandEntryDisposition, StopsACommandThatMayBeInAConversationAndIsNotProved) {
    using enum ComposerRecognition;
    using Shortcut = std::optional<OrvelReturnShortcut>;
    for (const auto shortcut : {Shortcut(OrvelReturnShortcut::plain), Shortcut(OrvelReturnShortcut::command)})
        for (const bool valid : {true, false}) {
            const auto unlessValid = valid ? CommandEntryDisposition::inspect : CommandEntryDisposition::stop;
            EXPECT_EQ(commandEntryDisposition(true, shortcut, verified, valid), unlessValid);
            EXPECT_EQ(commandEntryDisposition(true, shortcut, uncertain, valid),
                      CommandEntryDisposition::stop);
            EXPECT_EQ(commandEntryDisposition(true, shortcut, excluded, valid),
                      CommandEntryDisposition::forward);
            for (const auto recognition : {verified, excluded, uncertain}) {
                EXPECT_EQ(commandEntryDisposition(false, shortcut, recognition, valid),
                          CommandEntryDisposition::forward);
                for (const bool isCommand : {true, false})
                    EXPECT_EQ(commandEntryDisposition(isCommand, std::nullopt, recognition, valid),
                              CommandEntryDisposition::forward);
            }
        }
}

TEST(CommandReturnDecision, LetsOnlyAPlainReturnReachTheInputMethod) {
    using enum CommandReturnDecision;
    for (int bits = 0; bits < 32; ++bits) {
        const auto bit = [&](int n) { return (bits >> n & 1) != 0; };
        CommandReturnFacts facts;
        facts.knownJapaneseSource = bit(0);
        facts.safeLineBreak = bit(1);
        facts.endCaretWithoutSelection = bit(2);
        facts.allowsCompositionConfirmation = bit(3);
        facts.shortcut = bit(4) ? OrvelReturnShortcut::command : OrvelReturnShortcut::plain;
        facts.composition = CompositionState::clear;
        EXPECT_EQ(commandReturnDecision(facts), capture) << bits;
        facts.composition = CompositionState::composing;
        EXPECT_EQ(commandReturnDecision(facts), bits >= 8 && bits < 16 ? confirmComposition : stop) << bits;
        facts.composition = CompositionState::unknown;
        EXPECT_EQ(commandReturnDecision(facts), bits == 7 || bits == 15 ? probeLineBreak : stop) << bits;
    }
}
