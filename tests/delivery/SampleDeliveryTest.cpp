// Orvel's own reading against the stand-in, which was written without it: two readings of one protocol. That
// messages go from send to reply is for the exploration.

#include "Finish.h"
#include "Orvel/platform/simulated/SimulatedCodex.h"
#include "Orvel/reading/ConversationReader.h"
#include "samples/CodexFolder.h"

using namespace orvel;

namespace {

Task<void> note(Task<SharedConversation> reading, std::string& outcome) {
    outcome = outcomeOf(*co_await reading);
}

} // namespace

TEST(SampleDelivery, ReadsTheWholeHistoryOfAFork) {
    const CodexFolder files;
    SimulatedLoop loop;
    SimulatedProcesses processes(loop);
    processes.environment["PATH"] = "/tools";
    const SimulatedCodex codex(processes, loop, "/tools/codex", files.folder.path());
    ConversationReader reading(loop, processes, "/home/robin");
    std::string outcome;
    finish(loop, note(reading.readReference({.agent = Agent::codex,
                                             .sessionID = CodexFolder::fork,
                                             .transcriptPath = files.addFork()}),
                      outcome));
    EXPECT_EQ(outcome, "user: A | assistant: C | user: F | assistant: G");
    EXPECT_EQ(processes.running(), 0);
    EXPECT_TRUE(codex.complaints().empty());
}
