#pragma once
// Delivers messages into conversations of the Claude application.

#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/relay/RelayTransfer.h"
#include "OrvelCore/relay/SavedTransfer.h"

#include <functional>
#include <string>

namespace orvel {

class ClaudeRelayDiagnosticHistory;

class ClaudeRelaySender {
  public:
    /// Whether the destination's transcript proves that the message has arrived. May throw.
    using ReceiptCheck = std::function<Task<bool>()>;

    virtual ~ClaudeRelaySender() = default;

    /// Writes the text into the conversation's empty editor and presses Send. Throws RelaySendError.
    virtual Task<void> performSend(SavedTransfer transfer, ConversationReference to,
                                   ReceiptCheck receiptConfirmed) = 0;

    /// Presses Send for the text that an earlier attempt left in the editor. Throws RelaySendError.
    virtual Task<void> submitExistingDraft(SavedTransfer transfer, ConversationReference to,
                                           ReceiptCheck receiptConfirmed) = 0;

    /// Opens a new conversation and sends the message there; gives the conversation once its transcript holds
    /// the message. Throws RelaySendError, and ConversationCatalogError if it is ambiguous.
    virtual Task<ConversationReference> start(RelayInitialTransfer transfer) = 0;

    /// Describes the conversation's editor and the latest attempts, without content. Brings Claude to the
    /// front and changes nothing else. Throws RelaySendError.
    virtual Task<std::string> diagnose(ConversationReference reference) = 0;

    /// Where the sender records its progress. The caller begins and finishes each attempt.
    virtual ClaudeRelayDiagnosticHistory& attempts() = 0;
};

} // namespace orvel
