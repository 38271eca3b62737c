#pragma once
// A question to ChatGPT about a folder: the folder becomes a ZIP, the ZIP and the question are delivered
// once, and after Send was pressed there is only looking for them, until another folder is chosen.

#include "Orvel/consultation/ChatGPTRepositoryArchive.h"
#include "Orvel/runtime/Generation.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class ChatGPTBrowserSender;
class ChatGPTOperations;
class Panels;

/// How far a consultation has come.
enum class ConsultationStage { nothing, packed, attached, questionWritten, sent, seen };

struct ChatGPTConsultationNeeds {
    ChatGPTRepositoryArchive::Ports ports;
    Panels& panels;
    ChatGPTOperations& operations;
    ChatGPTBrowserSender& sender;
    std::string home;                             ///< Where the panel starts.
    std::function<std::string()> outputDirectory; ///< Of a ZIP that is about to be made.
};

/// Lives as long as the application. Belongs to the main loop's thread.
class ChatGPTConsultationModel {
  public:
    using Completion = std::function<void(const std::string& text)>;

    /// All that it needs outlives it.
    ChatGPTConsultationModel(const ChangeSignal& changes, ChatGPTConsultationNeeds needs);

    Observable<std::string> question;
    Observable<std::optional<ChatGPTRepositoryArchive>> archive;
    Observable<bool> isPreparing, isSending, isChecking;
    Observable<std::string> status;
    Observable<std::optional<std::string>> conversationURL;
    Observable<bool> attemptedSend; ///< Send was pressed, so it never will be again with this ZIP.
    Observable<ArchiveProgress> progress;

    bool canSend() const;
    /// Why nothing can be sent now, for the person; empty if it can, or if the person sees why.
    std::string whyNotSend() const;
    bool canChooseFolder() const { return !isPreparing && !isSending; }
    /// Whether an operation is under way, of which there is one at a time.
    bool isBusy() const { return isPreparing || isSending || isChecking; }
    bool canRecheckReceipt() const { return attemptedSend && !isBusy(); }

    ConsultationStage stage() const;
    /// How long the send under way has taken; nothing if there is none.
    std::optional<std::chrono::seconds> elapsed() const;

    /// Asks for a folder, and prepares it.
    void chooseFolder();
    /// Begins a new consultation with this folder. Does nothing while one is prepared or sent.
    void prepare(const std::string& folder);
    /// Ends the preparation that is under way soon.
    void stopPreparing();
    /// Delivers both, if `canSend`.
    void send();
    /// Whether the selected page could take a delivery. Enters nothing.
    void checkConnection();
    /// Looks for the receipt of the send once more. Sends nothing.
    void recheckReceipt();

    // For the developer tools. Each does nothing while an operation is under way.

    void inspectPageStability(Completion completion);
    /// Whether the question and that ZIP stand in the conversation.
    void inspectReceipt(const std::string& filename, const std::string& conversationID,
                        Completion completion);
    /// Attaches the ZIP and writes the question, which both stay on the page, and does not press Send.
    void verifyPreparationWithoutSending(Completion completion);

  private:
    Task<void> pack(std::string folder);
    Task<void> deliver(ChatGPTRepositoryArchive ready, std::string asked);
    Task<void> look(Task<std::string> reading, std::string_view beginning);
    Task<void> lookForReceipt();
    Task<void> inspect(Task<std::string> reading, Completion completion);

    ChatGPTConsultationNeeds needs;
    StopFlag stop;
    Generation consultations; ///< What ends after another folder was chosen is dropped.
    ConsultationStage reached = ConsultationStage::nothing;
    MainLoop::Duration began{};
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
