#pragma once
// The real Codex for one test: a home of its own, a model server that needs no account, and Codex's server,
// all on this machine and ended with the test.

#include "Orvel/delivery/CodexRelaySender.h"
#include "Orvel/reading/ConversationReader.h"
#include "PollWorld.h"
#include "TemporaryFolder.h"

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orvel {

/// The variable ORVEL_CODEX names the program; without it every test is skipped.
class RealCodex : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// Lets `codex exec` begin a conversation; gives it when the reply is there.
    ConversationReference begin(const std::string& message);
    /// Lets it make a fork that asks one question more.
    ConversationReference fork(const ConversationReference& of, const std::string& message);
    /// The same conversation as the server names it, read by Orvel.
    SharedConversation history(const ConversationReference& reference, bool preferLocalTranscript);

    /// Starts Codex's server and waits until it answers.
    void startServer();
    void endServer();
    /// Another program becomes the conversation's writer, as the desktop application does, as long as the
    /// child lives.
    std::unique_ptr<ChildProcess> holdAsAnother(const ConversationReference& reference);
    /// The command with these arguments.
    std::unique_ptr<ChildProcess> codex(std::vector<std::string> arguments);
    std::optional<int> statusOf(std::vector<std::string> arguments);

    /// Sends with a watch; gives "done" or the failure's text.
    std::string send(const std::string& text, const ConversationReference& to);
    /// Waits until the transcript holds the outcome's end; gives the outcome.
    std::string outcomeEndingWith(const std::string& end, const ConversationReference& reference);
    std::string outcome(const ConversationReference& reference) const;

    /// A path for `wait-for=` in a message, and what lets that answer go on.
    std::string gate() const { return folder.path("gate"); }
    void openGate() const { folder.write("gate", ""); }

    std::string tool;
    TemporaryFolder folder;
    PollWorld world;
    std::unique_ptr<ConversationReader> reading;
    std::unique_ptr<CodexRelaySender> sender;
    std::vector<std::string> lifecycleFailures;

  private:
    Task<void> readHistory(ConversationReference reference, bool preferLocalTranscript,
                           SharedConversation& into);
    std::vector<ConversationReference> conversations() const;
    ConversationReference newest(const std::vector<std::string>& arguments);
    bool serverAnswers();

    std::unique_ptr<ChildProcess> modelServer, server;
};

} // namespace orvel
