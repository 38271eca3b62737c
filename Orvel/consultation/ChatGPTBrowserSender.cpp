#include "Orvel/consultation/ChatGPTBrowserSender.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "OrvelCore/consultation/ChatGPTAddress.h"
#include "OrvelCore/consultation/ChatGPTComposerShape.h"
#include "OrvelCore/text/Unicode.h"

#include <exception>
#include <utility>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Kind = ChatGPTDeliveryTrace::Kind;
using Phase = ChatGPTDeliveryTrace::Phase;
using Outcome = ChatGPTDeliveryTrace::Outcome;

constexpr MainLoop::Duration inspectionPause = 2s;

std::unique_ptr<ChatGPTAttaching> attachingBy(ChatGPTAttachingWay way, const ChatGPTRooms& rooms) {
    if (way == ChatGPTAttachingWay::paste) return std::make_unique<ChatGPTPasteAttaching>(rooms);
    return std::make_unique<ChatGPTOpenPanelAttaching>(rooms);
}

} // namespace

ChatGPTBrowserSender::ChatGPTBrowserSender(const Desktop& ports, ChatGPTOperations& operations,
                                           ChatGPTAttachingWay way)
    : operations(operations),
      elements(ports, operations),
      pages(ports, operations, elements),
      composers(elements),
      lastLook(ports.loop, elements, pages),
      controls(ports, operations, elements, pages, lastLook),
      rooms{ports, operations, elements, pages, composers, controls, lastLook},
      activation(ports, pages),
      attaching(attachingBy(way, rooms)),
      questionEntry(rooms),
      readiness(rooms),
      receipts(ports.loop, operations, elements, pages, composers),
      inspections(rooms) {}

// Ends the operation that is running, in so far as its trace tells.
void ChatGPTBrowserSender::fail(std::string_view description, bool isPressed) {
    auto* trace = operations.trace();
    trace->finish(isPressed ? Outcome::sendUnconfirmed : Outcome::stopped);
    throw Failure(std::string(description) + "\n" + trace->report().text(), isPressed);
}

// Sending

Task<ChatGPTDeliveryResult> ChatGPTBrowserSender::send(ChatGPTRepositoryArchive archive,
                                                       std::string question) {
    std::string failure;
    std::optional<ChatGPTOperations::Running> running;
    try {
        running.emplace(operations.begin(Kind::send));
    } catch (const std::exception& reason) {
        throw Failure(reason.what(), false);
    }
    try {
        const auto result = co_await deliver(archive, question);
        running->trace().finish(Outcome::succeeded);
        co_return result;
    } catch (const std::exception& reason) {
        failure = reason.what();
    }
    fail(failure, running->trace().sendWasPressed());
}

Task<ChatGPTDeliveryResult> ChatGPTBrowserSender::deliver(ChatGPTRepositoryArchive archive,
                                                          std::string question) {
    const auto delivery = co_await prepareDelivery(archive, question);
    attempt = ChatGPTDeliveryAttempt{.question = question,
                                     .filename = delivery.target.filename(),
                                     .page = delivery.target.page,
                                     .modelDescription = delivery.modelDescription};
    co_await validate(delivery);
    co_await readiness.lastLook(delivery);
    press(delivery);
    rooms.enter(Phase::receipt);
    const auto received = co_await receipts.pollReceipt(*attempt, true);
    stopUnless(received.has_value(),
               "Send was attempted once, but the question and attachment have not been confirmed in the "
               "conversation. Check delivery again; do not resend.");
    co_return *received;
}

Task<void> ChatGPTBrowserSender::validate(PreparedDelivery delivery) {
    const auto question = delivery.question, filename = delivery.target.filename();
    auto snapshot = readiness.preparedSnapshot(delivery);
    co_await ChatGPTDeliveryAttempt::validate(question, filename, std::move(snapshot));
}

// Whatever it comes to, from here on Send counts as pressed.
void ChatGPTBrowserSender::press(const PreparedDelivery& delivery) {
    attempt->sendWasPressed = true;
    operations.trace()->sendPressed();
    try {
        delivery.action.perform();
    } catch (const std::exception&) {
        throw RelaySendError("Couldn't confirm whether sending succeeded. Check the ChatGPT conversation. "
                             "Orvel will not resend automatically.");
    }
}

// Preparing

Task<PreparedDelivery> ChatGPTBrowserSender::prepareDelivery(ChatGPTRepositoryArchive archive,
                                                             std::string question) {
    stopUnless(rooms.ports.accessibility.isTrusted(),
               "Orvel needs accessibility permission to enter content in ChatGPT.");
    stopUnless(!trimmed(question).empty() && !archive.fileURL.empty(),
               "Prepare a question and ZIP attachment.");
    ChatGPTQuestionEntry::requireDistinguishable(question, ChatGPTComposerShape::placeholder);
    co_await archive.verifyUnchanged(rooms.ports.loop);
    rooms.enter(Phase::initialPage);
    const auto page = co_await pages.selectedBrowserPageWhenReady();
    rooms.enter(Phase::activation);
    co_await activation.activateSelectedBrowser(page);
    rooms.enter(Phase::preAdd);
    pages.requireForeground(page);
    const auto composer = co_await emptyComposer(page, "Sign in to ChatGPT in Dia. Verify the intended "
                                                       "account in the browser before continuing.");
    const ChatGPTAttachingTarget target{archive, page, composer.editor, composer.region};
    co_await attaching->attach(target);
    co_await questionEntry.enter(question, target);
    co_return co_await readiness.awaitReady(target, question);
}

// What a delivery begins with: nobody has typed or attached anything, and somebody is signed in.
Task<ChatGPTBrowserSender::Composer> ChatGPTBrowserSender::emptyComposer(ChatGPTPage page,
                                                                         const char* signedOut) {
    const auto editor = co_await composers.composer(page.web);
    co_await composers.requireEmptyComposer(editor, true);
    const ChatGPTElements::Labels logIn{"Log in"};
    const auto buttons = co_await elements.find(page.web, "AXButton", logIn);
    stopUnless(buttons.empty(), signedOut);
    const auto region = co_await composers.composerRegion(editor, page.web);
    co_await composers.requireInitialEmptyRegion(region);
    co_return Composer{editor, region};
}

Task<std::string> ChatGPTBrowserSender::verifyPreparationWithoutSending(ChatGPTRepositoryArchive archive,
                                                                        std::string question) {
    std::string failure;
    const auto running = operations.begin(Kind::preparation);
    try {
        const auto delivery = co_await prepareDelivery(archive, question);
        co_await validate(delivery);
        running.trace().finish(Outcome::preparedWithoutSend);
        co_return running.trace().report().text() +
            "\nThe ZIP and question were entered through the normal flow and verified up to the send step. "
            "Send was not pressed. Remove the test question and attachment after verification.\n";
    } catch (const std::exception& reason) {
        failure = reason.what();
    }
    fail(failure, false);
}

Task<std::string> ChatGPTBrowserSender::checkConnection() {
    stopUnless(rooms.ports.accessibility.isTrusted(), "Check Orvel’s accessibility permission.");
    auto running = operations.begin(Kind::preparation);
    running.discardTrace();
    const auto page = co_await pages.selectedBrowserPage();
    co_await activation.activateSelectedBrowser(page);
    const auto composer = co_await emptyComposer(page, "Sign in to ChatGPT in Dia. No content was changed.");
    co_await pages.verifySamePage(page);
    pages.requireForeground(page);
    const auto model = co_await readiness.selectedModelDescription(composer.region);
    co_return "Verified the same ChatGPT window in Dia, an empty editor, and no attachments. " + model +
        ". Nothing was entered or sent.";
}

// Receipts

Task<ChatGPTDeliveryResult> ChatGPTBrowserSender::recheckReceiptWithoutChanges() {
    if (!attempt) throw Failure("There is no send record for this app session.", false);
    std::optional<ChatGPTOperations::Running> running;
    try {
        running.emplace(operations.begin(Kind::receiptCheck));
    } catch (const std::exception& reason) {
        throw Failure(reason.what(), attempt->sendWasPressed);
    }
    operations.current()->firstWindow = attempt->page.window;
    rooms.enter(Phase::receipt);
    const auto received = co_await receipts.pollReceipt(*attempt, false);
    if (!received) fail("The question and attachment have not been confirmed yet. Nothing was resent.", true);
    running->trace().finish(Outcome::succeeded);
    co_return *received;
}

Task<std::string> ChatGPTBrowserSender::inspectReceiptWithoutChanges(std::string question,
                                                                     std::string filename,
                                                                     std::string conversationID) {
    stopUnless(!trimmed(question).empty() && filename.ends_with(".zip") && !conversationID.empty(),
               "Check the expected question, ZIP filename, and conversation ID for the receipt inspection.");
    const auto browser = pages.onlyBrowser();
    stopUnless(browser.has_value(), "Couldn't uniquely identify Dia.");
    const auto running = operations.begin(Kind::receiptCheck);
    rooms.enter(Phase::receipt);
    const ChatGPTPageReader::Request request{.pid = browser->process,
                                             .caller = ChatGPTDeliveryTrace::Caller::receipt};
    const auto page = co_await pages.activePage(request);
    const auto expected = std::string(chatGPTWebOrigin) + "/c/" + conversationID;
    stopUnless(page.url == expected,
               "The selected conversation does not match the specified ID. Nothing was changed.");
    co_await rooms.ports.loop.sleep(inspectionPause);
    ChatGPTDeliveryAttempt inspected{
        .question = question, .filename = filename, .page = page, .conversationURL = expected};
    const auto received = co_await receipts.readReceipt(inspected, false);
    co_return std::string("Receipt inspection (read only) received=") + (received ? "true" : "false") + "\n" +
        running.trace().report().text();
}

// Inspections

Task<std::string> ChatGPTBrowserSender::inspectComposerWithoutChanges(std::string expectedQuestion) {
    const auto running = operations.begin(Kind::pageStability);
    co_return co_await inspections.composer(expectedQuestion);
}

Task<std::string>
ChatGPTBrowserSender::inspectFilePanelWithoutChanges(ChatGPTRepositoryArchive expectedArchive) {
    const auto running = operations.begin(Kind::pageStability);
    co_return co_await inspections.filePanel(expectedArchive);
}

Task<std::string> ChatGPTBrowserSender::inspectPageStabilityWithoutChanges() {
    stopUnless(!operations.isRunning() && rooms.ports.accessibility.isTrusted(),
               "Another operation is running, or accessibility permission could not be verified.");
    const auto running = operations.begin(Kind::pageStability);
    co_return co_await inspections.pageStability();
}

} // namespace orvel
