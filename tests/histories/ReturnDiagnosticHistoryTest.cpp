#include "OrvelCore/histories/ReturnDiagnosticHistory.h"

using namespace orvel;

namespace {

ReturnDiagnosticHistory::Event event(Agent source, bool isCommand, const std::string& attemptID = "A") {
    ReturnDiagnosticHistory::Event made;
    made.attemptID = attemptID;
    made.source = source;
    made.keyCode = 36;
    made.input = isCommand ? ReturnInputClassification::command : ReturnInputClassification::empty;
    made.outcome = isCommand ? FixedWords("Suppressed") : FixedWords("Pass through");
    return made;
}

const DiagnosticText details = FixedWords("\nElapsed: 3ms");

DiagnosticText repeated(FixedWords words, std::size_t count) {
    DiagnosticText text;
    while (count-- > 0) text += words;
    return text;
}

} // namespace

TEST(ReturnDiagnosticHistory, KeepsTheNewestEvents) {
    ReturnDiagnosticHistory history;
    for (int i = 0; i < 25; ++i) history.append(event(Agent::codex, false), details);
    ASSERT_EQ(history.events().size(), 24U);
    EXPECT_EQ(history.events().front().sequence, 1);
    EXPECT_EQ(history.events().back().sequence, 24);
    EXPECT_TRUE(history.commandAttempts().empty());
}

TEST(ReturnDiagnosticHistory, CutsWhatIsTooLong) {
    ReturnDiagnosticHistory history;
    auto long500 = event(Agent::codex, true);
    long500.outcome = repeated("あ", 501);
    history.append(long500, repeated("x", 16001));
    const auto& attempt = history.commandAttempts().at(Agent::codex);
    EXPECT_EQ(history.events().back().outcome, repeated("あ", 500));
    EXPECT_EQ(attempt.event.outcome, repeated("あ", 500));
    EXPECT_EQ(attempt.details, repeated("x", 16000));
    history.finish(Agent::codex, "A", repeated("r", 501), repeated("d", 16001));
    EXPECT_EQ(attempt.result, repeated("r", 500));
    EXPECT_EQ(attempt.resultDetails, repeated("d", 16000));
}

TEST(ReturnDiagnosticHistory, KeepsTheLastCommandOfEachAgent) {
    using enum ReturnEventPhase;
    for (const auto phase : {keyDown, keyRepeat, keyUp})
        for (const bool isCommand : {false, true})
            for (const bool hasDetails : {false, true}) {
                ReturnDiagnosticHistory history;
                history.append(event(Agent::codex, true, "first"), details);
                history.append(event(Agent::claude, true, "other"), details);
                history.finish(Agent::codex, "first", FixedWords("done"), {});
                auto next = event(Agent::codex, isCommand, "second");
                next.phase = phase;
                history.append(next, hasDetails ? std::optional(details) : std::nullopt);
                const bool replaces = phase == keyDown && isCommand && hasDetails;
                const auto& attempt = history.commandAttempts().at(Agent::codex);
                EXPECT_EQ(attempt.event.attemptID, replaces ? "second" : "first");
                EXPECT_EQ(attempt.result.has_value(), !replaces);
                EXPECT_EQ(history.commandAttempts().at(Agent::claude).event.attemptID, "other");
            }
}

TEST(ReturnDiagnosticHistory, FinishesOnlyTheAttemptThatIsMeant) {
    ReturnDiagnosticHistory history;
    history.finish(Agent::codex, "A", FixedWords("done"), {});
    history.append(event(Agent::codex, true), details);
    history.finish(Agent::codex, "B", FixedWords("done"), {});
    history.finish(Agent::claude, "A", FixedWords("done"), {});
    EXPECT_EQ(history.commandAttempts().size(), 1U);
    EXPECT_FALSE(history.commandAttempts().at(Agent::codex).result);
    history.finish(Agent::codex, "A", FixedWords("done"), {});
    EXPECT_EQ(history.commandAttempts().at(Agent::codex).result->text(), "done");
}

TEST(ReturnDiagnosticHistory, ReportsWithoutContent) {
    ReturnDiagnosticHistory history;
    EXPECT_EQ(history.commandSummary({}).text(), "No /orvel attempt yet.");
    EXPECT_EQ(history.report({}).text(), "No Return has been recorded yet.");

    history.append(event(Agent::codex, false), details);
    EXPECT_EQ(history.report({}).text(),
              "Retained /orvel decisions (latest per app; preserved across later empty input):\n"
              "No matching command syntax recorded\n"
              "Return history (last 1 entries, no content; discarded on quit):\n"
              "00:00:00 / Codex / keyDown / Input=Empty input / Pass through");

    // Claude's attempt came first.
    auto claude = event(Agent::claude, true, "first");
    claude.timestamp = 3600;
    claude.modifiers = {ReturnModifiers::command};
    history.append(claude, details);
    auto codex = event(Agent::codex, true, "second");
    codex.timestamp = 3661;
    history.append(codex, details);
    history.finish(Agent::claude, "first", FixedWords("Handed over"), FixedWords("Empty confirmed"));
    EXPECT_EQ(history.commandSummary({}).text(), "01:00:00 / Claude / Command+Return\nHanded over\n"
                                                 "01:01:01 / Codex / Return\nSuppressed");
    EXPECT_EQ(history.report({3600, true}).text(),
              "Retained /orvel decisions (latest per app; preserved across later empty input):\n"
              "2:00:00 AM / Claude / Command+Return\nSuppressed\nElapsed: 3ms\n"
              "Attempt result: Handed over\nEmpty confirmed\n"
              "2:01:01 AM / Codex / Return\nSuppressed\nElapsed: 3ms\n"
              "Return history (last 3 entries, no content; discarded on quit):\n"
              "1:00:00 AM / Codex / keyDown / Input=Empty input / Pass through\n"
              "2:00:00 AM / Claude / keyDown / Input=/orvel syntax matched / Suppressed\n"
              "2:01:01 AM / Codex / keyDown / Input=/orvel syntax matched / Suppressed");
}
