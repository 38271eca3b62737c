#pragma once
// What every test with a real agent stands on: a home of its own and a model server that needs no account,
// all on this machine and ended with the test.

#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "PollWorld.h"
#include "TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orvel {

class RealAgents : public testing::Test {
  protected:
    /// `toolVariable` is the environment's name for the agent's program; without it the test is skipped.
    explicit RealAgents(const char* toolVariable) : tool(variable(toolVariable)) {}

    void SetUp() override;

    static std::string variable(const char* name);
    static void setVariable(const char* name, const std::string& value);

    /// The conversations that an agent has made here.
    std::vector<ConversationReference> conversations(Agent agent) const;
    /// Runs the agent, which begins one conversation; gives that when the agent has ended.
    ConversationReference newest(Agent agent, const ChildLaunch& launch);

    AgentFolders folders() const {
        return AgentFolders::of(folder.path("home"), folder.path("codex"), folder.path("claude"),
                                folder.path("config"));
    }
    std::string outcome(const ConversationReference& reference) const;
    /// Waits until the transcript holds the outcome's end; gives the outcome.
    std::string outcomeEndingWith(const std::string& end, const ConversationReference& reference);

    /// A path for `wait-for=` in a message, and what lets that answer go on.
    std::string gate() const { return folder.path("gate"); }
    void openGate() const { folder.write("gate", ""); }

    std::string tool;
    TemporaryFolder folder;
    PollWorld world;

  private:
    std::unique_ptr<ChildProcess> modelServer;
};

} // namespace orvel
