// The program orvel-sample-codex as a child, in a sample home.

#include "Orvel/platform/sample/SampleProcesses.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "PollWorld.h"
#include "conversations/Outcome.h"
#include "samples/SampleHome.h"

#include <nlohmann/json.hpp>

using namespace orvel;

namespace {

class SampleProgramTest : public testing::Test {
  protected:
    SampleProgramTest() {
        for (const auto& found : ConversationCatalog::list(home.folders()))
            if (found.agent == Agent::codex) reference = found;
    }

    SampleHome home{SAMPLE_CODEX};
    ConversationReference reference;
    PollWorld world;
    SampleProcesses processes{world.processes, home.toolFolder(), home.folders().codex};
};

} // namespace

TEST_F(SampleProgramTest, EndsAsTheRealOneDoes) {
    const auto codex = home.toolFolder() + "/codex";
    const std::string unknown = "99999999-9999-4999-8999-999999999999";
    const std::pair<std::vector<std::string>, int> cases[] = {
        {{"queue", "--thread", reference.sessionID, "--message", "M"}, 0},
        {{"queue", "--thread", unknown, "--message", "M"}, 1},
        {{"queue", "--thread", reference.sessionID, "--message", "-M"}, 2},
        {{"exec"}, 2},
        {{"exec", "--json", "--skip-git-repo-check", "-C", home.folders().home + "/gone", "-"}, 1}};
    for (const auto& [arguments, status] : cases) {
        const auto child = processes.start({.executable = codex, .arguments = arguments});
        EXPECT_TRUE(world.runUntil([&] { return child->exitStatus().has_value(); }));
        EXPECT_EQ(child->exitStatus(), status) << testing::PrintToString(arguments);
    }
    const auto conversation = TranscriptReader::read(reference.transcriptPath, Agent::codex);
    EXPECT_THAT(outcomeOf(conversation), testing::EndsWith("It begins: “M”"));

    for (const bool isAsked : {true, false}) {
        const auto proxy =
            processes.start({.executable = codex, .arguments = {"app-server", "proxy"}, .hasPipes = true});
        isAsked ? proxy->terminate() : proxy->closePipes();
        EXPECT_TRUE(world.runUntil([&] { return proxy->exitStatus().has_value(); }));
        EXPECT_TRUE(isAsked || proxy->exitStatus() == 0);
    }
}

TEST_F(SampleProgramTest, BeginsAConversationInAFolder) {
    const auto folder = home.folders().home;
    const auto child =
        processes.start({.executable = home.toolFolder() + "/codex",
                         .arguments = {"exec", "--json", "--skip-git-repo-check", "-C", folder, "-"},
                         .unattendedInput = "Begin here."});
    EXPECT_TRUE(world.runUntil([&] { return child->exitStatus().has_value(); }));
    EXPECT_EQ(child->exitStatus(), 0);
    const auto started = nlohmann::json::parse(child->said(10'000).substr(0, child->said(10'000).find('\n')));
    for (const auto& found : ConversationCatalog::list(home.folders()))
        if (found.sessionID == started.at("thread_id")) {
            EXPECT_EQ(found.workingDirectory, folder);
            const auto conversation = TranscriptReader::read(found.transcriptPath, Agent::codex);
            EXPECT_THAT(outcomeOf(conversation),
                        testing::StartsWith("user: Begin here. | assistant: This is"));
            return;
        }
    FAIL() << "no such conversation: " << started;
}
