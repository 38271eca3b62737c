#include "OrvelCore/commands/ReturnDecision.h"

using namespace orvel;

TEST(CompositionState, IsClearOnlyUnderASourceThatCannotComposeOrTells) {
    using enum MarkedTextEvidence;
    using enum CompositionState;
    const std::tuple<MarkedTextEvidence, CompositionState, CompositionState, CompositionState> rows[] = {
        {marked, composing, composing, composing},
        {absent, clear, unknown, clear},
        {unsupported, clear, unknown, unknown},
        {unavailable, unknown, unknown, unknown}};
    for (const auto& [evidence, ascii, other, telling] : rows) {
        EXPECT_EQ(compositionState(evidence, false, true), telling) << description(evidence).view();
        EXPECT_EQ(compositionState(evidence, true), ascii) << description(evidence).view();
        EXPECT_EQ(compositionState(evidence, false), other) << description(evidence).view();
    }
}

TEST(KnownASCIISource, IsOneOfFourPairsOfIdAndType) {
    const std::string layout = "TISTypeKeyboardLayout", mode = "TISTypeKeyboardInputMode",
                      kotoeri = "com.apple.inputmethod.Kotoeri.";
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"com.apple.keylayout.ABC", layout, true},        {"com.apple.keylayout.US", layout, true},
        {kotoeri + "KanaTyping.Roman", mode, true},       {kotoeri + "RomajiTyping.Roman", mode, true},
        {"com.apple.keylayout.ABC", mode, false},         {kotoeri + "RomajiTyping.Roman", layout, false},
        {kotoeri + "RomajiTyping.Japanese", mode, false},
    };
    for (const auto& [id, type, isKnown] : cases) {
        EXPECT_EQ(KnownASCIISource::matches(id, type, true), isKnown) << id << type;
        EXPECT_FALSE(KnownASCIISource::matches(id, type, false));
    }
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
    using enum CommandEntryDisposition;
    constexpr auto plain = OrvelReturnShortcut::plain;
    EXPECT_EQ(commandEntryDisposition(true, plain, verified, true), inspect);
    EXPECT_EQ(commandEntryDisposition(true, plain, verified, false), stop);
    EXPECT_EQ(commandEntryDisposition(true, plain, uncertain, true), stop);
    EXPECT_EQ(commandEntryDisposition(true, plain, excluded, true), forward);
    EXPECT_EQ(commandEntryDisposition(false, plain, uncertain, false), forward);
    EXPECT_EQ(commandEntryDisposition(true, std::nullopt, uncertain, false), forward);
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
