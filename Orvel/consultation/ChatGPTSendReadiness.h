#pragma once
// The Send button beside a question and a ZIP: whether all of it is there and stays the same, up to the
// moment before it is pressed.

#include "Orvel/consultation/ChatGPTAttaching.h"
#include "Orvel/consultation/ChatGPTControlAction.h"
#include "Orvel/consultation/ChatGPTDeliveryAttempt.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

/// A question and a ZIP that stand beside a Send button.
struct PreparedDelivery {
    ChatGPTAttachingTarget target;
    std::string question;
    AXElement send;
    std::string modelDescription;
    PageControlAction action; ///< Presses Send.
};

/// Throws as ChatGPTElements. The rooms outlive the object, and the object outlives its tasks and what it
/// gives.
class ChatGPTSendReadiness {
  public:
    static constexpr int maximumReads = 20;
    static constexpr MainLoop::Duration timeout = std::chrono::seconds(2);

    explicit ChatGPTSendReadiness(const ChatGPTRooms& rooms) : rooms(rooms) {}

    /// Waits up to two seconds until Send can be pressed beside exactly this question and ZIP.
    Task<PreparedDelivery> awaitReady(ChatGPTAttachingTarget target, std::string question);

    /// Reads all of it once more, the ZIP on the disk too, and stops where anything differs. Changes nothing.
    Task<ChatGPTDeliveryAttempt::Snapshot> preparedSnapshot(PreparedDelivery delivery);

    /// For the moment before the press: the attachments once more, and as ChatGPTLastLook, with the question.
    Task<void> lastLook(PreparedDelivery delivery);

    /// The model that is chosen beside the editor, in a sentence.
    Task<std::string> selectedModelDescription(AXElement region);

  private:
    /// The button of the first read, from which no later one may differ.
    using Held = std::shared_ptr<std::optional<AXElement>>;

    Task<std::optional<PreparedDelivery>> read(ChatGPTAttachingTarget target, std::string question,
                                               Held held);

    const ChatGPTRooms& rooms;
};

} // namespace orvel
