#pragma once
// The proof of delivery: a message counts as received only when it stands in the destination's own
// transcript, which is looked at again and again until it does.

#include "Orvel/model/ConversationReadings.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/relay/RelayState.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

class MessageOperation;
class Notices;
struct OutboxState;
class RelayLedger;
class Workspace;

/// What receipts are taken with; all of it outlives them.
struct ReceiptsNeeds {
    Notices& notices;
    const MessageOperation& operation;
    const OutboxState& outbox;
    RelayLedger& ledger;
    Workspace& workspace;
    ConversationReader& reader;
    ConversationReadings& readings;
    MainLoop& loop;
};

class Receipts {
  public:
    Receipts(const ChangeSignal& changes, const ReceiptsNeeds& needs);

    const Observable<bool>& isChecking() const { return isCheckingReceipts; }

    /// Looks for the pending messages in their destinations. One pass runs at a time, none during a send.
    void checkRelayReceipts();
    /// Checks every two seconds from now on.
    void startReceiptPolling();

    /// Whether no pass is under way.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Readings = ConversationReadings::Readings;

    void pollReceipts();
    Task<void> receiptPass();
    Task<void> takeReceipts(Readings fresh);
    std::optional<RelayDraft> reconcilePending(RelayState& state, const Readings& fresh);

    ReceiptsNeeds needs;
    Observable<bool> isCheckingReceipts;
    /// The reading in which each pending message was last looked for in vain.
    std::map<std::string, SharedConversation> searchedInVain;
    std::unique_ptr<Timer> receiptPollingTimer;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
