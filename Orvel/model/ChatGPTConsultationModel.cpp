#include "Orvel/model/ChatGPTConsultationModel.h"

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/desktop/Panels.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <utility>

namespace orvel {

namespace {

using Phase = ChatGPTDeliveryTrace::Phase;

ConsultationStage stageOf(const ChatGPTDeliveryTrace& trace) {
    const auto has = [&](Phase phase) {
        return std::find(trace.phases().begin(), trace.phases().end(), phase) != trace.phases().end();
    };
    if (trace.sendWasPressed()) return ConsultationStage::sent;
    if (has(Phase::preSend)) return ConsultationStage::questionWritten;
    return has(Phase::question) ? ConsultationStage::attached : ConsultationStage::packed;
}

bool isBlank(const std::string& text) {
    return trimmed(text).empty();
}

// What a reading came to, or why it failed.
Task<std::string> told(Task<std::string> reading) {
    std::string text;
    try {
        text = co_await reading;
    } catch (const std::exception& failure) {
        text = failure.what();
    }
    co_return text;
}

} // namespace

ChatGPTConsultationModel::ChatGPTConsultationModel(const ChangeSignal& changes,
                                                   ChatGPTConsultationNeeds needs)
    : question(changes),
      archive(changes),
      isPreparing(changes),
      isSending(changes),
      isChecking(changes),
      status(changes, "Choose a folder."),
      conversationURL(changes),
      attemptedSend(changes),
      progress(changes),
      needs(std::move(needs)) {}

bool ChatGPTConsultationModel::canSend() const {
    return archive.get() && !isBusy() && !attemptedSend && !isBlank(question);
}

std::string ChatGPTConsultationModel::whyNotSend() const {
    if (isSending) return "One at a time: this delivery is still running.";
    if (isPreparing) return "The ZIP is still being made.";
    if (isChecking) return "One at a time: a check is still running.";
    if (conversationURL.get()) return "Delivered. Choose the folder again to ask something else.";
    if (attemptedSend) return "Send was pressed once, and won’t be again. Check delivery again.";
    if (!archive.get()) return "Choose a folder first.";
    return isBlank(question) ? "Enter a question first." : "";
}

ConsultationStage ChatGPTConsultationModel::stage() const {
    if (conversationURL.get()) return ConsultationStage::seen;
    if (attemptedSend) return ConsultationStage::sent;
    if (!archive.get()) return ConsultationStage::nothing;
    const auto* trace = isSending ? needs.operations.trace() : nullptr;
    return std::max(trace ? stageOf(*trace) : reached, ConsultationStage::packed);
}

std::optional<std::chrono::seconds> ChatGPTConsultationModel::elapsed() const {
    if (!isSending) return std::nullopt;
    return std::chrono::floor<std::chrono::seconds>(needs.ports.loop.uptime() - began);
}

// Preparing

void ChatGPTConsultationModel::chooseFolder() {
    if (!canChooseFolder()) return;
    const OpenPanel panel{.message = "Choose the repository or folder to ask about.",
                          .folder = archive.get() ? archive.get()->sourceFolder : needs.home,
                          .kind = OpenPanel::Kind::folder};
    if (const auto folder = needs.panels.choose(panel)) prepare(*folder);
}

void ChatGPTConsultationModel::prepare(const std::string& folder) {
    if (canChooseFolder()) tasks.start(pack(folder));
}

void ChatGPTConsultationModel::stopPreparing() {
    if (stop) *stop = true;
}

Task<void> ChatGPTConsultationModel::pack(std::string folder) {
    const WhileTrue preparing(isPreparing);
    consultations.renew();
    const auto earlier = archive.get();
    archive = std::nullopt;
    conversationURL = std::nullopt;
    attemptedSend = false;
    reached = ConsultationStage::nothing;
    progress = ArchiveProgress();
    status = "Preparing files to send…";
    if (earlier) co_await earlier->discard(needs.ports.loop);
    ChatGPTRepositoryArchive::Control control;
    control.told = [this](const ArchiveProgress& now) { progress.update(now); };
    stop = control.stop;
    auto output = needs.outputDirectory();
    std::string text = "Enter a question to send.";
    try {
        archive = co_await ChatGPTRepositoryArchive::prepare(needs.ports, std::move(folder),
                                                             std::move(output), std::move(control));
    } catch (const std::exception& failure) {
        text = failure.what();
    }
    status = std::move(text);
}

// Sending

void ChatGPTConsultationModel::send() {
    if (canSend()) tasks.start(deliver(*archive.get(), question));
}

Task<void> ChatGPTConsultationModel::deliver(ChatGPTRepositoryArchive ready, std::string asked) {
    const WhileTrue sending(isSending);
    began = needs.ports.loop.uptime();
    reached = ConsultationStage::packed;
    status = "Sending the ZIP and question to ChatGPT in Dia…";
    try {
        const auto result = co_await needs.sender.send(std::move(ready), std::move(asked));
        attemptedSend = true;
        conversationURL = result.conversationURL;
        status = "Question and ZIP delivered. " + result.modelDescription + ". Read the reply in ChatGPT.";
    } catch (const ChatGPTBrowserSender::Failure& failure) {
        attemptedSend = failure.sendWasPressed();
        status = failure.what();
    } catch (const std::exception& failure) {
        status = failure.what();
    }
    const auto& traces = needs.operations.history().finished();
    if (!traces.empty()) reached = stageOf(*traces.back());
}

// Looking

void ChatGPTConsultationModel::checkConnection() {
    if (!isBusy()) tasks.start(look(needs.sender.checkConnection(), "Checking the selected ChatGPT tab…"));
}

Task<void> ChatGPTConsultationModel::look(Task<std::string> reading, std::string_view beginning) {
    const WhileTrue checking(isChecking);
    const auto consultation = consultations.current();
    status = std::string(beginning);
    auto work = told(std::move(reading));
    auto text = co_await work;
    if (consultations.isCurrent(consultation)) status = std::move(text);
}

void ChatGPTConsultationModel::recheckReceipt() {
    if (canRecheckReceipt()) tasks.start(lookForReceipt());
}

Task<void> ChatGPTConsultationModel::lookForReceipt() {
    const WhileTrue checking(isChecking);
    const auto consultation = consultations.current();
    status = "Checking delivery of the question and ZIP…";
    std::optional<std::string> url;
    std::string text = "Question and ZIP delivered. Read the reply in ChatGPT.";
    try {
        const auto result = co_await needs.sender.recheckReceiptWithoutChanges();
        url = result.conversationURL;
    } catch (const std::exception& failure) {
        text = failure.what();
    }
    if (!consultations.isCurrent(consultation)) co_return;
    if (url) conversationURL = std::move(url);
    status = std::move(text);
}

// For the developer tools

void ChatGPTConsultationModel::inspectPageStability(Completion completion) {
    if (!isBusy())
        tasks.start(inspect(needs.sender.inspectPageStabilityWithoutChanges(), std::move(completion)));
}

void ChatGPTConsultationModel::inspectReceipt(const std::string& filename, const std::string& conversationID,
                                              Completion completion) {
    if (!isBusy())
        tasks.start(inspect(needs.sender.inspectReceiptWithoutChanges(question, filename, conversationID),
                            std::move(completion)));
}

void ChatGPTConsultationModel::verifyPreparationWithoutSending(Completion completion) {
    if (isBusy()) return;
    if (!archive.get()) return completion("Prepare a question and ZIP attachment.");
    tasks.start(inspect(needs.sender.verifyPreparationWithoutSending(*archive.get(), question),
                        std::move(completion)));
}

Task<void> ChatGPTConsultationModel::inspect(Task<std::string> reading, Completion completion) {
    const WhileTrue checking(isChecking);
    auto work = told(std::move(reading));
    const auto text = co_await work;
    completion(text);
}

} // namespace orvel
