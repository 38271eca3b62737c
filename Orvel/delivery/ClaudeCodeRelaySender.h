#pragma once
// Delivers a message into a Claude conversation that Claude's application does not know: Claude Code's own
// command continues it, in its own folder, with the text on standard input. The agent's permissions stay what
// the person has set. Only the transcript proves the delivery.

#include "Orvel/reading/ConversationReader.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/relay/SavedTransfer.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class ClaudeCodeRelaySender {
  public:
    /// Whether a reading of the destination proves that the message has arrived.
    using ReceiptCheck = std::function<bool(const Conversation&)>;
    /// Called with the error text of a failed turn, on the main loop, at any time while the sender lives.
    using LifecycleFailure = std::function<void(const std::string&)>;

    /// The ports and the reading outlive the sender.
    ClaudeCodeRelaySender(MainLoop& loop, Processes& processes, ConversationReader& reading,
                          AgentFolders folders);

    /// Returns when the message stands in the transcript; then watches the turn for up to an hour. The turn
    /// goes on when the sender ends. Throws RelaySendError, with `canRetry` as long as no command has been
    /// started.
    Task<void> send(SavedTransfer transfer, ConversationReference to, ReceiptCheck isReceived,
                    LifecycleFailure lifecycleFailure);

    /// The uptime since which a conversation's turn has been watched, by session identifier.
    const std::map<std::string, MainLoop::Duration>& watchedTurns() const { return watched; }

    /// Why Claude Code would not take this text as it stands, for the person; nothing if it would.
    static std::optional<std::string> refusalOf(std::string_view payload);

  private:
    enum class Outcome { recorded, ended, late };

    Task<std::string> readyTool();
    Task<std::string> freeFolder(ConversationReference to);
    Task<Outcome> awaitRecord(ChildProcess& child, ConversationReference to, ReceiptCheck isReceived);
    Task<bool> isSeen(ConversationReference to, ReceiptCheck isReceived);
    Task<void> watch(std::unique_ptr<ChildProcess> child, std::string sessionID,
                     LifecycleFailure lifecycleFailure);

    MainLoop& loop;
    Processes& processes;
    ConversationReader& reading;
    AgentFolders folders;
    std::map<std::string, MainLoop::Duration> watched;
    TaskScope tasks; // Last, so that its work ends before what it uses.
};

} // namespace orvel
