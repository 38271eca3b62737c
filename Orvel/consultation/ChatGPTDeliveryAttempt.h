#pragma once
// A delivery that has come as far as Send, kept until the next one so that its receipt can be asked for.

#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTDeliverySnapshot.h"

#include <optional>
#include <string>

namespace orvel {

struct ChatGPTDeliveryAttempt {
    using Snapshot = ChatGPTDeliverySnapshot;

    std::string question, filename;
    ChatGPTPage page; ///< As it was when the delivery began.
    std::string modelDescription;
    bool sendWasPressed = false;
    std::optional<std::string> conversationURL; ///< Once the page has moved to the new conversation.

    /// Throws RelaySendError unless the question is one and the snapshot, which is taken only then, shows
    /// exactly it and the file. Throws what taking the snapshot throws.
    static Task<void> validate(std::string expectedQuestion, std::string expectedFilename,
                               Task<Snapshot> snapshot);
};

/// A delivery whose question and ZIP were seen in the conversation.
struct ChatGPTDeliveryResult {
    std::string conversationURL;
    std::string modelDescription;

    bool operator==(const ChatGPTDeliveryResult&) const = default;
};

} // namespace orvel
