#pragma once
// The proof of delivery: a message counts as received only when it stands in the destination's own
// transcript, which is looked at again and again until it does.

#include "Orvel/model/ConversationReadings.h"
#include "Orvel/model/InitialRecipients.h"
#include "Orvel/model/OutboxState.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/relay/RelayState.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

class Catalogue;
class MessageOperation;
class Notices;
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
    const Catalogue& catalogue;
    MainLoop& loop;
};

class Receipts {
  public:
    Receipts(const ChangeSignal& changes, const ReceiptsNeeds& needs);

    /// Told what each pass came to.
    std::function<void(const ReceiptLook&)> onLooked = [](const ReceiptLook&) {};

    const Observable<bool>& isChecking() const { return isCheckingReceipts; }

    /// Looks for the pending messages in their destinations, and for the conversations that first messages
    /// have founded. One pass runs at a time, none during a send.
    void checkRelayReceipts();
    /// Checks from now on, each time so long after the last.
    void startReceiptPolling(MainLoop::Duration interval = std::chrono::seconds(2));

    /// Whether no pass is under way.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Readings = ConversationReadings::Readings;

    void pollReceipts(MainLoop::Duration interval);
    Task<void> receiptPass();
    /// What a pass has read.
    struct Fresh {
        Readings readings;                       ///< Of the conversations of all pairs.
        std::vector<ReadConversation> newcomers; ///< That a first message may have founded.
    };
    /// What becomes of what is shown, once the records are saved.
    struct Shown {
        std::optional<RelayDraft> draft;
        std::optional<std::string> bound; ///< The open first message, if it has found its conversation.
    };
    Task<Fresh> readAll();
    Task<ReceiptLook> takeReceipts(Fresh fresh);
    Shown reconcile(RelayState& state, const Fresh& fresh, ReceiptLook& look);
    void bindInitials(RelayState& state, const Fresh& fresh, ReceiptLook& look, Shown& shown);
    std::optional<RelayDraft> reconcilePending(RelayState& state, const Readings& fresh, ReceiptLook& look);
    void tell(const ReceiptLook& look);

    ReceiptsNeeds needs;
    Observable<bool> isCheckingReceipts;
    /// The reading in which each pending message was last looked for in vain.
    std::map<std::string, SharedConversation> searchedInVain;
    std::map<std::string, ReceiptProblem> problems; ///< Of the last pass.
    std::optional<std::string> unsaved; ///< Why the last pass could not save, if it found nothing.
    std::unique_ptr<Timer> receiptPollingTimer;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
