#pragma once
// The real Codex for one test, and its server.

#include "Orvel/delivery/CodexRelaySender.h"
#include "Orvel/reading/ConversationReader.h"
#include "agents/RealAgents.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

class RealCodex : public RealAgents {
  protected:
    RealCodex() : RealAgents("ORVEL_CODEX") {}
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
    std::unique_ptr<ConversationReader> reading;
    std::unique_ptr<CodexRelaySender> sender;
    std::vector<std::string> lifecycleFailures;

  private:
    Task<void> readHistory(ConversationReference reference, bool preferLocalTranscript,
                           SharedConversation& into);
    bool serverAnswers();

    std::unique_ptr<ChildProcess> server;
};

} // namespace orvel
