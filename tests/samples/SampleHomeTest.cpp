#include "samples/SampleHome.h"

#include "OrvelCore/conversations/ConversationCatalog.h"
#include "conversations/Outcome.h"
#include "samples/TranscriptWriter.h"

#include <filesystem>

#include <gmock/gmock.h>
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

TEST(SampleHome, HoldsConversationsOfBothAgentsThatCanAllBeRead) {
    std::string path;
    {
        const SampleHome sample;
        path = sample.home();
        const auto found = ConversationCatalog::list(sample.folders());
        std::vector<std::string> titles, busy;
        std::size_t longest = 0;
        for (const auto& reference : found) {
            const auto conversation = TranscriptReader::read(reference.transcriptPath, reference.agent);
            titles.push_back(reference.title);
            EXPECT_EQ(conversation.id, reference.sessionID);
            EXPECT_EQ(reference.desktopSessionID.has_value(), reference.agent == Agent::claude);
            if (conversation.isBusy) busy.push_back(reference.title);
            longest = std::max(longest, conversation.messages.size());
        }
        EXPECT_THAT(titles, testing::ElementsAre(
                                "Flaky upload test", "Rewrite the expression parser",
                                "Review of the parser rewrite", "検索での全角と半角の扱い",
                                "Index corruption after power loss", "Release notes for Lark 2.4",
                                testing::StartsWith("heron · "), "Port every handler to the async client"));
        EXPECT_THAT(busy, testing::ElementsAre("Flaky upload test"));
        EXPECT_GE(longest, 190U);
        EXPECT_FALSE(std::filesystem::exists(sample.dataFolder()));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}
