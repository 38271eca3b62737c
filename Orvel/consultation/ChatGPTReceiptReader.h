#pragma once
// Whether a question and a ZIP have arrived in a new conversation, as the page shows it after Send. Nothing
// here changes the page.

#include "Orvel/consultation/ChatGPTComposerReader.h"
#include "Orvel/consultation/ChatGPTDeliveryAttempt.h"
#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTReceiptEvidence.h"

#include <chrono>
#include <optional>
#include <string>

namespace orvel {

/// Throws as ChatGPTElements. What it is made of and the attempts outlive its tasks.
class ChatGPTReceiptReader {
  public:
    static constexpr int maximumReads = 100;
    static constexpr MainLoop::Duration pause = std::chrono::milliseconds(300); ///< Before each read.

    ChatGPTReceiptReader(MainLoop& loop, ChatGPTOperations& operations, ChatGPTElements& elements,
                         ChatGPTPageReader& pages, ChatGPTComposerReader& composers);

    /// Reads until the receipt is there. Nothing if it is not after all reads, or if a read failed for good,
    /// which the trace tells then.
    Task<std::optional<ChatGPTDeliveryResult>> pollReceipt(ChatGPTDeliveryAttempt& attempt,
                                                           bool requireForeground);

    /// Reads once; nothing while there is no receipt yet. The first look at a conversation sets the
    /// attempt's, which no later one may differ from.
    Task<std::optional<ChatGPTDeliveryResult>> readReceipt(ChatGPTDeliveryAttempt& attempt,
                                                           bool requireForeground);

    /// What the page shows of the two outside the region of this editor; noted in the trace.
    Task<ChatGPTReceiptEvidence> receiptEvidence(std::string question, std::string filename, ChatGPTPage page,
                                                 AXElement editor);

  private:
    Task<std::optional<ChatGPTDeliveryResult>> readUnlessTooEarly(ChatGPTDeliveryAttempt& attempt,
                                                                  bool requireForeground);
    Task<bool> isOutsideComposer(AXElement element, AXElement region, AXElement web);
    Task<void> lookForCandidates(std::string question, std::string filename, AXElement web, AXElement region,
                                 ChatGPTReceiptEvidence& evidence);
    Task<void> diagnoseComposer(std::string filename, AXElement editor, AXElement region,
                                ChatGPTReceiptEvidence& evidence);

    MainLoop& loop;
    ChatGPTOperations& operations;
    ChatGPTElements& elements;
    ChatGPTPageReader& pages;
    ChatGPTComposerReader& composers;
};

} // namespace orvel
