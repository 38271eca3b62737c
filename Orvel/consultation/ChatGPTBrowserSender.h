#pragma once
// Delivers a ZIP and a question into an empty ChatGPT tab of the browser Dia: proves before every step that
// everything is still what it was, writes the question once, presses Send once, and looks for both in the
// conversation. It touches no existing conversation, and never sends again by itself.

#include "Orvel/consultation/ChatGPTAttaching.h"
#include "Orvel/consultation/ChatGPTBrowserActivation.h"
#include "Orvel/consultation/ChatGPTComposerReader.h"
#include "Orvel/consultation/ChatGPTControlAction.h"
#include "Orvel/consultation/ChatGPTDeliveryAttempt.h"
#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTInspections.h"
#include "Orvel/consultation/ChatGPTLastLook.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/consultation/ChatGPTQuestionEntry.h"
#include "Orvel/consultation/ChatGPTReceiptReader.h"
#include "Orvel/consultation/ChatGPTRepositoryArchive.h"
#include "Orvel/consultation/ChatGPTSendReadiness.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/text/Failure.h"

#include <memory>
#include <optional>
#include <string>

namespace orvel {

/// How a ZIP gets into the page on this desktop.
enum class ChatGPTAttachingWay {
    openPanel, ///< By the panel of macOS, which other programs can read.
    paste      ///< By the clipboard.
};

/// One operation at a time, for all senders that share their operations. Belongs to the main loop's thread;
/// destroying a task cancels its operation. The ports and the operations outlive the sender, and the sender
/// outlives its tasks.
class ChatGPTBrowserSender {
  public:
    using Result = ChatGPTDeliveryResult;

    /// Why an operation ended, with its trace below, and whether Send may have been pressed.
    class Failure : public orvel::Failure {
      public:
        Failure(std::string message, bool sendWasPressed)
            : orvel::Failure("notDelivered", std::move(message)), pressed(sendWasPressed) {}

        bool sendWasPressed() const noexcept { return pressed; }

      private:
        bool pressed;
    };

    ChatGPTBrowserSender(const Desktop& ports, ChatGPTOperations& operations, ChatGPTAttachingWay way);
    ChatGPTBrowserSender(const ChatGPTBrowserSender&) = delete;
    ChatGPTBrowserSender& operator=(const ChatGPTBrowserSender&) = delete;

    /// Ends once the conversation shows both. Throws Failure.
    Task<Result> send(ChatGPTRepositoryArchive archive, std::string question);

    /// All of that but the press; what was entered stays on the page. Gives the report. Throws Failure.
    Task<std::string> verifyPreparationWithoutSending(ChatGPTRepositoryArchive archive, std::string question);

    /// Whether the selected page could take a delivery, in a sentence; brings the browser to the front, and
    /// changes nothing else. Throws what the readers throw.
    Task<std::string> checkConnection();

    /// Looks for the receipt of the last send once more. Throws Failure.
    Task<Result> recheckReceiptWithoutChanges();

    /// Looks once for a question and a ZIP in the conversation that is shown. Throws what the readers throw.
    Task<std::string> inspectReceiptWithoutChanges(std::string question, std::string filename,
                                                   std::string conversationID);

    /// Describe what is there without its content, and change nothing. Throw what the readers throw.
    Task<std::string> inspectComposerWithoutChanges(std::string expectedQuestion);
    Task<std::string> inspectFilePanelWithoutChanges(ChatGPTRepositoryArchive expectedArchive);
    Task<std::string> inspectPageStabilityWithoutChanges();

  private:
    struct Composer {
        AXElement editor, region;
    };

    Task<PreparedDelivery> prepareDelivery(ChatGPTRepositoryArchive archive, std::string question);
    Task<Composer> emptyComposer(ChatGPTPage page, const char* signedOut);
    Task<Result> deliver(ChatGPTRepositoryArchive archive, std::string question);
    Task<void> validate(PreparedDelivery delivery);
    void press(const PreparedDelivery& delivery);
    [[noreturn]] void fail(std::string_view description, bool isPressed);

    ChatGPTOperations& operations;
    ChatGPTElements elements;
    ChatGPTPageReader pages;
    ChatGPTComposerReader composers;
    ChatGPTLastLook lastLook;
    ChatGPTControls controls;
    ChatGPTRooms rooms;
    ChatGPTBrowserActivation activation;
    std::unique_ptr<ChatGPTAttaching> attaching;
    ChatGPTQuestionEntry questionEntry;
    ChatGPTSendReadiness readiness;
    ChatGPTReceiptReader receipts;
    ChatGPTInspections inspections;
    std::optional<ChatGPTDeliveryAttempt> attempt; ///< The last one that came as far as Send.
};

} // namespace orvel
