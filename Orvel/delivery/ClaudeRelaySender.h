#pragma once
// Puts a message into a conversation of the Claude application.

#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <functional>
#include <string>

namespace orvel {

class ClaudeRelayDiagnosticHistory;

class ClaudeRelaySender {
  public:
    /// Whether the destination's transcript already proves that the message arrived; may throw.
    using ReceiptCheck = std::function<Task<bool>()>;

    virtual ~ClaudeRelaySender() = default;

    /// Writes the text into the conversation's empty editor and presses Send. Throws RelaySendError.
    virtual Task<void> performSend(std::string text, ConversationReference to,
                                   ReceiptCheck receiptConfirmed) = 0;

    /// Presses Send on the text that an earlier attempt left in the editor. Throws RelaySendError.
    virtual Task<void> submitExistingDraft(std::string text, ConversationReference to,
                                           ReceiptCheck receiptConfirmed) = 0;

    /// What stands in the conversation's editor and became of the last attempts, without content. Changes
    /// nothing but what is in front. Throws RelaySendError.
    virtual Task<std::string> diagnose(ConversationReference reference) = 0;

    /// Where the sender notes how far it comes. Whoever has it send begins the attempt and ends it.
    virtual ClaudeRelayDiagnosticHistory& attempts() = 0;
};

} // namespace orvel
