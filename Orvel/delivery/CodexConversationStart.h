#pragma once
// Starts a new conversation with Codex: its command `codex exec` takes the first message on standard input
// and works in a folder of the person's. Only the transcript proves that the message went in.

#include "Orvel/reading/ConversationReader.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/relay/RelayTransfer.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class CodexConversationStart {
  public:
    /// Called on the main loop when the first turn has ended, with why it failed if it did; at any time while
    /// this object lives.
    using Completion =
        std::function<void(const ConversationReference&, const std::optional<std::string>& failure)>;

    /// The ports and the reading outlive this object.
    CodexConversationStart(MainLoop& loop, Processes& processes, ConversationReader& reading,
                           AgentFolders folders);

    /// Why no conversation can be started in this folder, for the person; nothing if one can.
    std::optional<std::string> refusal(const std::optional<std::string>& folder) const;

    /// Gives the conversation once its transcript begins with the message; then watches the turn for up to an
    /// hour. The turn goes on when this object ends. Throws RelaySendError, with `canRetry` as long as the
    /// command has not been started.
    Task<ConversationReference> start(RelayInitialTransfer transfer, std::string folder,
                                      Completion onCompletion);

    /// The uptime since which a conversation's turn has been watched, by session identifier.
    const std::map<std::string, MainLoop::Duration>& watchedTurns() const { return watched; }

    /// The identifier in what the command prints as it begins, if it stands there.
    static std::optional<std::string> startedThreadID(std::string_view output);

  private:
    Task<std::optional<ConversationReference>> found(std::string threadID, std::string payload);
    Task<void> watch(std::unique_ptr<ChildProcess> child, ConversationReference conversation,
                     Completion onCompletion);

    MainLoop& loop;
    Processes& processes;
    ConversationReader& reading;
    AgentFolders folders;
    std::map<std::string, MainLoop::Duration> watched;
    TaskScope tasks; // Last, so that its work ends before what it uses.
};

/// Whether the conversation begins with this message, and what was asked in it has been answered.
bool isCompletedCodex(const ConversationReference& reference, const Conversation& conversation,
                      std::string_view payload);

} // namespace orvel
