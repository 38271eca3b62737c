#pragma once
// A way into Claude that does what a test says.

#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/runtime/MainLoop.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct FakeClaudeSender : ClaudeRelaySender {
    explicit FakeClaudeSender(MainLoop& loop) : loop(loop) {}

    Task<void> performSend(SavedTransfer transfer, ConversationReference, ReceiptCheck check) override {
        return act(sent, *transfer->payload, std::move(check));
    }
    Task<void> submitExistingDraft(SavedTransfer transfer, ConversationReference,
                                   ReceiptCheck check) override {
        return act(submitted, *transfer->payload, std::move(check));
    }

    Task<ConversationReference> start(RelayInitialTransfer transfer) override {
        sent.push_back(*transfer.payload);
        co_await loop.sleep(std::chrono::seconds(1));
        if (during) during();
        if (failure) throw RelaySendError(*failure);
        co_return started;
    }

    Task<std::string> diagnose(ConversationReference) override {
        co_await loop.sleep(std::chrono::seconds(1));
        if (failure) throw RelaySendError(*failure);
        co_return "Characters=0";
    }
    ClaudeRelayDiagnosticHistory& attempts() override { return history; }

    ClaudeRelayDiagnosticHistory history;
    std::vector<std::string> sent, submitted; ///< The texts, in order.
    std::function<void()> during;             ///< What happens while the message is on its way.
    std::optional<RelaySendError> failure;    ///< How it ends.
    ConversationReference started;            ///< The new conversation.
    bool asksForReceipt = false;
    std::vector<bool> receipts; ///< What the receipt check answered.

  private:
    Task<void> act(std::vector<std::string>& texts, std::string text, ReceiptCheck check) {
        texts.push_back(std::move(text));
        co_await loop.sleep(std::chrono::seconds(1));
        if (during) during();
        if (asksForReceipt) receipts.push_back(co_await check());
        if (failure) throw RelaySendError(*failure);
    }

    MainLoop& loop;
};

} // namespace orvel
