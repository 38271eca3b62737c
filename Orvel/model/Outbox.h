#pragma once
// What becomes of a message: it is formed from fresh readings, saved, and then delivered or copied. It is
// saved before the destination or the clipboard is touched, and never delivered twice on its own once
// anything may have been inserted.

#include "Orvel/delivery/ClaudeCodeRelaySender.h"
#include "Orvel/delivery/CodexRelaySender.h"
#include "Orvel/model/OutboxState.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/relay/SavedTransfer.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace orvel {

class Applications;
class ClaudeRelaySender;
class Notices;
class Pasteboard;
class Processes;
class RelayLedger;
class Workspace;

/// What an outbox works with; all of it outlives the outbox.
struct OutboxNeeds {
    Notices& notices;
    MessageOperation& operation;
    RelayLedger& ledger;
    Workspace& workspace;
    ConversationReader& reader;
    MainLoop& loop;
    Processes& processes;
    Applications& applications;
    ClaudeRelaySender& claudeSender;
};

class Outbox {
  public:
    Outbox(const ChangeSignal& changes, const OutboxNeeds& needs, const AgentFolders& folders);

    const OutboxState& state() const { return held; }

    /// To be told what each look for receipts came to.
    void takeReceipts(const ReceiptLook& look);

    /// Told of each message that was delivered, before its pair is turned round.
    std::function<void(const RelayPair& pair, Agent destination)> onDelivered = [](const auto&, Agent) {};
    /// Told when a delivery has ended, however it did: it is time to look for receipts.
    std::function<void()> onDone = [] {};

    /// Lets Claude Code's own command take messages for conversations that Claude's application does not
    /// know. Off at first; only the person switches it on.
    void allowClaudeCode(bool isAllowed) { held.mayUseClaudeCode = isAllowed; }

    bool canSendRelay() const;
    /// Saves the message of the open pair and delivers it, or delivers the saved one again where that may be.
    void sendRelay();
    /// Presses Send on the saved message that an earlier attempt left in Claude's editor.
    void submitExistingClaudeDraft();

    /// Puts the message on the clipboard; of a pair only after it has been saved. What became of it stands in
    /// the notices. Nothing happens while nobody has said to which neighbour it goes.
    void copy(Pasteboard& pasteboard);
    /// Puts the saved message on the clipboard once more.
    void copyPendingTransfer(Pasteboard& pasteboard);

    /// Told what a look at the open pair's editor in Claude came to, without content.
    using Completion = std::function<void(const std::string&)>;
    /// Looks at the editor, with Claude in front for as long as that takes. Does nothing without a pair, nor
    /// while something is under way.
    void diagnoseRelayComposer(Completion completion);

    /// What the delivery into Claude that is under way is at, in words; changes without notice.
    std::optional<std::string> deliveryStage() const;
    /// Since when, as uptime, each turn of an agent is watched; by session identifier.
    std::map<std::string, MainLoop::Duration> watchedTurns() const;

    /// Notes why a delivery failed, of a first message too, and tells the person.
    void noteFailure(const std::string& transferID, DeliveryFailure failure);
    void forgetFailure(const std::string& transferID);

    /// Whether nothing is under way. A turn that is watched does not count.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Guard = MessageOperation::Guard;

    const OpenRelay& relay() const;

    void copyPlain(Pasteboard& pasteboard);
    Task<void> copyRelay(Guard operation, Pasteboard& pasteboard);

    Task<void> send(Guard operation, RelayPair pair, Agent source);
    Task<std::optional<SavedTransfer>> prepareRetry(RelayPair pair, RelayTransfer transfer);
    Task<SavedTransfer> prepareNew(RelayPair pair, Agent source, bool isToBeDelivered);
    void requireSelection(const RelayPair& pair, Agent source, Generation::Value generation) const;
    void requireAcceptable(const ConversationReference& destination, const std::string& text) const;

    Task<std::optional<DeliveryFailure>> deliver(RelayPair pair, SavedTransfer transfer);
    Task<std::optional<DeliveryFailure>> deliverToClaude(ConversationReference destination,
                                                         SavedTransfer transfer);
    Task<bool> isReceived(std::string transferID, ConversationReference destination, RelayState state);
    /// Gives what failed, and that it failed behind the delivery.
    Task<std::optional<DeliveryFailure>> adoptDelivered(RelayPair pair, SavedTransfer transfer);
    Task<void> recordFailure(std::string transferID, DeliveryFailure failure);
    Task<void> setRelayRetryable(std::string transferID, bool retryable);
    void takeReceipt(const std::string& transferID);
    void offerRetry(const std::string& transferID, bool isOffered);

    /// What the person sees and could change while a draft is being submitted.
    struct ShownSelection {
        std::optional<std::string> pairID;
        Generation::Value load = 0, edit = 0;
        Agent source = Agent::codex;
        std::string instruction;
        std::optional<std::string> startMessageID;

        bool operator==(const ShownSelection&) const = default;
    };
    ShownSelection shownSelection() const;
    Task<void> submitDraft(Guard operation, RelayPair pair, RelayTransfer transfer);
    Task<bool> isReceivedAsShown(const ShownSelection& kept, std::string transferID,
                                 ConversationReference destination);
    Task<bool> settleIfReceived(std::string transferID, ConversationReference destination, bool wasSubmitted);
    Task<void> diagnose(Guard operation, ConversationReference reference, Completion completion);

    OutboxNeeds needs;
    OutboxState held;
    CodexRelaySender codexSender;
    ClaudeCodeRelaySender claudeCodeSender;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
