#pragma once
// Conversations that do not exist yet: their first message is saved, started by Orvel or pasted by the
// person, and bound to the conversation in which it turns up. One that existed before is never taken for it.

#include "Orvel/delivery/CodexConversationStart.h"
#include "Orvel/model/InitialRecipients.h"
#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/OutboxState.h"
#include "Orvel/runtime/Generation.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/AgentFolders.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvel {

class Applications;
class Chains;
class ClaudeRelaySender;
class Notices;
class Outbox;
class Panels;
class Pasteboard;
class Processes;
class RelayLedger;
class Workspace;

struct NewConversationsState {
    explicit NewConversationsState(const ChangeSignal& changes) : completedCodexCreations(changes) {}

    /// Conversations with Codex that this run has started and whose first turn has ended, by first message.
    Observable<std::map<std::string, ConversationReference>> completedCodexCreations;

    /// The first message that founded this conversation, if exactly one of them did.
    std::optional<std::string> completedCreation(const std::optional<ConversationReference>& codex) const;
};

/// What new conversations are made with; all of it outlives them.
struct NewConversationsNeeds {
    Notices& notices;
    MessageOperation& operation;
    RelayLedger& ledger;
    Workspace& workspace;
    Chains& chains;
    Outbox& outbox;
    ConversationReader& reader;
    MainLoop& loop;
    Processes& processes;
    Panels& panels;
    Applications& applications;
    ClaudeRelaySender& claudeSender;
};

class NewConversations {
  public:
    NewConversations(const ChangeSignal& changes, const NewConversationsNeeds& needs, AgentFolders folders);

    const NewConversationsState& state() const { return held; }

    /// Told when a start has ended, however it did: it is time to look for receipts.
    std::function<void()> onDone = [] {};

    /// Leaves the open link for a new conversation of this agent, which is told by the one on the other card.
    /// Nothing that waits is touched.
    void useNewDestination(Agent agent);
    /// Asks the person for the folder in which a new conversation with Codex works.
    void chooseCreationFolder();
    /// Why no conversation can be started as things stand, for the person; nothing if one can.
    std::optional<std::string> refusal() const;
    /// Saves the first message and starts the conversation, or does so again where that may be.
    void startNewRelay();
    /// Saves the first message and puts it on the clipboard, for the person to paste into a new conversation.
    void copyInitial(Pasteboard& pasteboard);
    /// Shows the conversation that this first message has founded in Codex's own application. Sends nothing.
    void openCompletedCodexInDesktop(const std::string& initialID);

    /// The uptime since which a first turn has been watched, by session identifier.
    const std::map<std::string, MainLoop::Duration>& watchedTurns() const { return codex.watchedTurns(); }

    /// Whether nothing is under way. A turn that is watched does not count.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Guard = MessageOperation::Guard;

    const OpenRelay& relay() const;
    Task<RelayInitialTransfer> prepareInitial();
    Task<void> start(Guard operation);
    Task<ConversationReference> startConversation(RelayInitialTransfer initial);
    Task<ConversationReference> startClaude(RelayInitialTransfer initial);
    Task<std::optional<ConversationReference>> recoverInitialRecipient(RelayInitialTransfer initial);
    Task<std::optional<DeliveryFailure>> adopt(RelayInitialTransfer initial,
                                               ConversationReference destination);
    Task<void> recordFailure(std::string initialID, DeliveryFailure failure);
    Task<void> copy(Guard operation, Pasteboard& pasteboard);
    void receivedCodexCreationCompletion(const std::string& initialID, const ConversationReference& reference,
                                         const std::optional<std::string>& failure);
    void presentCompletedCodexAutomatically(const std::string& initialID);
    Task<void> present(std::string initialID, ConversationReference reference);

    NewConversationsNeeds needs;
    NewConversationsState held;
    AgentFolders folders;
    CodexConversationStart codex;
    std::set<std::string> handledPresentations; ///< Each opens at most once by itself.
    Generation presentations;
    TaskScope tasks; // Last: ends before what its work uses.
};

/// The conversations that may have been founded by one of these messages, with what stands in them. Looks
/// through the disk.
Task<std::vector<ReadConversation>> readNewConversations(MainLoop& loop, ConversationReader& reader,
                                                         AgentFolders folders,
                                                         std::vector<RelayInitialTransfer> initials);

} // namespace orvel
