#pragma once
// Delivers a message into a Codex conversation with the command `codex queue`, which passes it to whichever
// process owns the conversation. Codex's server is asked first whether the conversation exists and is idle,
// and watched afterwards for a failed reply. Neither proves the delivery; only the transcript does.

#include "Orvel/reading/ConversationReader.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/relay/SavedTransfer.h"

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class CodexThreadSession;

class CodexRelaySender {
  public:
    /// Called with the error text of a failed watch, on the main loop, at any time while the sender lives.
    using LifecycleFailure = std::function<void(const std::string&)>;

    /// The ports and the reading outlive the sender.
    CodexRelaySender(MainLoop& loop, Processes& processes, ConversationReader& reading, std::string home);

    /// Returns when Codex has accepted the message; then watches the turn for up to an hour, unless another
    /// program owns the conversation. Throws RelaySendError.
    Task<void> send(SavedTransfer transfer, ConversationReference to, LifecycleFailure lifecycleFailure);

    /// The uptime since which a conversation's turn has been watched, by session identifier.
    const std::map<std::string, MainLoop::Duration>& watchedTurns() const { return watched; }

    /// Whether the conversation holds the payload after that message, and a reply to it.
    static bool completedPayload(std::string_view payload, const std::optional<std::string>& afterMessageID,
                                 const Conversation& conversation);

  private:
    /// Passes the message to the tool. Returns what went wrong, or null.
    Task<std::exception_ptr> queue(std::string tool, std::string threadID, std::string payload);
    Task<void> watch(std::unique_ptr<CodexThreadSession> session, SavedTransfer transfer,
                     ConversationReference reference, LifecycleFailure lifecycleFailure);
    Task<bool> hasBeenAnswered(SavedTransfer transfer, ConversationReference reference);

    MainLoop& loop;
    Processes& processes;
    ConversationReader& reading;
    std::string home;
    std::map<std::string, MainLoop::Duration> watched;
    TaskScope tasks; // Last, so that its work ends before what it uses.
};

} // namespace orvel
