#pragma once
// Where Orvel has no way into the Claude application: nothing is touched, and the message stays saved.

#include "Orvel/delivery/ClaudeRelaySender.h"

namespace orvel {

class AbsentClaudeSender : public ClaudeRelaySender {
  public:
    Task<void> performSend(std::string, ConversationReference, ReceiptCheck) override { return refuse(); }
    Task<void> submitExistingDraft(std::string, ConversationReference, ReceiptCheck) override {
        return refuse();
    }

  private:
    static Task<void> refuse() {
        throw RelaySendError("Orvel can't write into Claude here. Use Copy to recover.", true);
        co_return;
    }
};

} // namespace orvel
