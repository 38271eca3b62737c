#include "samples/TranscriptWriter.h"

#include "conversations/Outcome.h"

#include <gtest/gtest.h>

using namespace orvel;

TEST(TranscriptWriter, WritesWhatTheReaderReads) {
    const auto codex = CodexTranscript({.id = "c"})
                           .ask("A")
                           .comment("B")
                           .runCommand("ls", "x")
                           .answer("C")
                           .ask("D")
                           .interrupt()
                           .ask("E")
                           .text();
    EXPECT_EQ(
        outcomeOf(codex, Agent::codex),
        "user: A | assistant: B | assistant: C | user: D | user: <turn_aborted>\nThe user interrupted the "
        "turn.\n</turn_aborted> | user: E [busy]");
    EXPECT_EQ(outcomeOf(CodexTranscript({.id = "c"}).ask("A").answer("B").text(), Agent::codex),
              "user: A | assistant: B");

    const auto claude = [] { return ClaudeTranscript({.id = "c"}).ask("A").runCommand("ls", "x"); };
    const struct {
        std::string text, outcome;
    } cases[] = {
        {claude().text(), "user: A [busy]"},
        {claude().comment("B").sidechain("S", "T").answer("C").title("Title").text(),
         "user: A | assistant: B | assistant: C"},
        {claude().comment("B").stopHook().text(), "user: A | assistant: B"},
        {claude().answer("B").ask("C").answer("D").rewind().ask("E").answer("F").text(),
         "user: A | assistant: B | user: E | assistant: F [ambiguous]"},
    };
    for (const auto& [text, outcome] : cases) EXPECT_EQ(outcomeOf(text, Agent::claude), outcome);
    EXPECT_EQ(TranscriptReader::parse(claude().text(), Agent::claude, "", "").id, "c");
}
