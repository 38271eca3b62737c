// Orvel's own way to Codex's server and command, against the real ones.

#include "agents/RealCodex.h"

#include "Orvel/reading/CodexThreadLoader.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "conversations/Outcome.h"

#include <gmock/gmock.h>

namespace orvel {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

constexpr auto notIdle = "Couldn't load the Codex conversation. Nothing was sent.\n"
                         "Couldn't verify that the Codex conversation is idle. Try again after the reply "
                         "finishes. (connection stage: initialized / thread-resume)";

TEST_F(RealCodex, NothingIsSentWhereNoServerRuns) {
    const auto reference = begin("Q");
    EXPECT_THAT(send("M", reference), HasSubstr("Nothing was sent.\n"));
    EXPECT_EQ(outcome(reference), "user: Q | assistant: Answer to: Q");
}

TEST_F(RealCodex, AHistoryFromTheServerLeavesOutWhatIsSaidOnTheWay) {
    const auto reference = begin("Q comment-first");
    startServer();
    const auto fromFile = history(reference, true), fromServer = history(reference, false);
    EXPECT_EQ(outcomeOf(*fromFile), "user: Q comment-first | assistant: On it. | "
                                    "assistant: Answer to: Q comment-first");
    EXPECT_EQ(outcomeOf(*fromServer), "user: Q comment-first | assistant: Answer to: Q comment-first");
    EXPECT_EQ(fromFile->id, fromServer->id);
}

TEST_F(RealCodex, AForksWholeHistoryComesFromTheServer) {
    const auto base = begin("Q");
    const auto forked = fork(base, "F");
    startServer();
    SharedConversation whole;
    const auto read = [](ConversationReader& reading, ConversationReference reference,
                         SharedConversation& into) -> Task<void> {
        into = co_await reading.readReference(reference);
    };
    ASSERT_EQ(world.outcomeOf(read(*reading, forked, whole)), "done");
    EXPECT_EQ(outcomeOf(*whole), "user: Q | assistant: Answer to: Q | user: F | assistant: Answer to: F");
    EXPECT_EQ(whole->id, forked.sessionID);
}

TEST_F(RealCodex, AMessageIsDeliveredAndWatchedToItsReply) {
    const auto reference = begin("Q");
    startServer();
    for (const auto& text : {std::string("M\nwith “more”"), std::string(100'000, 'x')}) {
        ASSERT_EQ(send(text, reference), "done");
        EXPECT_EQ(sender->watchedTurns().size(), 1U);
        EXPECT_TRUE(world.runUntil([&] { return sender->watchedTurns().empty(); }));
        EXPECT_THAT(outcome(reference), HasSubstr("user: " + text + " | assistant: Answer to: " +
                                                  text.substr(0, text.find('\n'))));
    }
    EXPECT_TRUE(lifecycleFailures.empty());
}

TEST_F(RealCodex, ABusyThreadIsRefusedUntilItsTurnEnds) {
    const auto reference = begin("Q");
    startServer();
    ASSERT_EQ(send("M wait-for=" + gate(), reference), "done");
    EXPECT_THAT(outcomeEndingWith("gate [busy]", reference), EndsWith("wait-for=" + gate() + " [busy]"));
    EXPECT_EQ(send("N", reference), notIdle);
    openGate();
    EXPECT_TRUE(world.runUntil([&] { return sender->watchedTurns().empty(); }));
    EXPECT_EQ(send("N", reference), "done");
    EXPECT_THAT(outcomeEndingWith("Answer to: N", reference), EndsWith("user: N | assistant: Answer to: N"));
}

TEST_F(RealCodex, AFailedTurnLeavesTheThreadRefusedAndTheWatchWaiting) {
    const auto reference = begin("Q");
    startServer();
    ASSERT_EQ(send("M fail-the-turn", reference), "done");
    EXPECT_THAT(outcomeEndingWith("fail-the-turn", reference), EndsWith("user: M fail-the-turn"));
    EXPECT_THAT(send("N", reference), HasSubstr("the next message in Codex itself clears that"));
    EXPECT_EQ(sender->watchedTurns().size(), 1U);
    EXPECT_TRUE(lifecycleFailures.empty());
}

TEST_F(RealCodex, AnotherWriterGetsTheMessageWithoutAWatch) {
    const auto reference = begin("Q");
    startServer();
    const auto other = holdAsAnother(reference);
    EXPECT_EQ(send("M", reference), "done");
    EXPECT_TRUE(sender->watchedTurns().empty());
    EXPECT_THAT(outcomeEndingWith("Answer to: M", reference), EndsWith("user: M | assistant: Answer to: M"));
}

TEST_F(RealCodex, AMessageToACommandThatEndsArrivesButIsNotAnswered) {
    const auto reference = begin("Q");
    startServer();
    const auto other =
        codex({"exec", "resume", "--skip-git-repo-check", reference.sessionID, "O wait-for=" + gate()});
    EXPECT_THAT(outcomeEndingWith("gate [busy]", reference), EndsWith("gate [busy]"));
    EXPECT_EQ(send("M wait-for=/never", reference), "done");
    EXPECT_TRUE(sender->watchedTurns().empty());
    openGate();
    EXPECT_TRUE(world.runUntil([&] { return other->exitStatus().has_value(); }));
    EXPECT_THAT(outcome(reference), HasSubstr("| user: M wait-for=/never | user: <turn_aborted>"));
}

TEST_F(RealCodex, AMessageThatWaitedIsPerformedBeforeTheOneThatIsSent) {
    const auto reference = begin("Q");
    EXPECT_EQ(statusOf({"queue", "--thread", reference.sessionID, "--message", "W"}), 0);
    EXPECT_EQ(outcome(reference), "user: Q | assistant: Answer to: Q");
    startServer();
    (void)history(reference, false);
    EXPECT_EQ(outcome(reference), "user: Q | assistant: Answer to: Q");
    ASSERT_EQ(send("M", reference), "done");
    EXPECT_TRUE(world.runUntil([&] { return sender->watchedTurns().empty(); }));
    EXPECT_THAT(outcome(reference),
                EndsWith("user: W | assistant: Answer to: W | user: M | assistant: Answer to: M"));
}

TEST_F(RealCodex, AMessageThatCannotBeAnArgumentIsNotDelivered) {
    const auto reference = begin("Q");
    startServer();
    EXPECT_THAT(send(std::string(2'000'000, 'x'), reference),
                AllOf(HasSubstr("nothing was sent"), HasSubstr("Argument list too long")));
    EXPECT_TRUE(sender->watchedTurns().empty());
    EXPECT_EQ(outcome(reference), "user: Q | assistant: Answer to: Q");
}

TEST_F(RealCodex, AMessageThatBeginsAsAnOptionDoesArrives) {
    const auto reference = begin("Q");
    startServer();
    ASSERT_EQ(send("--help\n- M", reference), "done");
    EXPECT_THAT(outcomeEndingWith("Answer to: --help", reference), HasSubstr("| user: --help\n- M"));
}

TEST_F(RealCodex, AnArchivedConversationSaysSo) {
    const auto reference = begin("Q");
    EXPECT_EQ(statusOf({"archive", reference.sessionID}), 0);
    startServer();
    EXPECT_THAT(send("M", reference), AllOf(HasSubstr("Nothing was sent."), HasSubstr("is archived")));
}

TEST_F(RealCodex, TheQueueCommandEndsAsOrvelReadsIt) {
    const auto reference = begin("Q");
    const std::string unknown = "99999999-9999-4999-8999-999999999999";
    EXPECT_EQ(statusOf({"queue", "--thread", reference.sessionID, "--message", "M"}), 0);
    EXPECT_EQ(statusOf({"queue", "--thread", unknown, "--message", "M"}), 1);
    EXPECT_EQ(statusOf({"queue", "--thread", reference.sessionID, "--message", "-M"}), 2);
    EXPECT_EQ(statusOf({"queue", "--thread", reference.sessionID, "--message", ""}), 2);
}

} // namespace
} // namespace orvel
