#include "Orvel/consultation/ChatGPTReceiptReader.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "OrvelCore/consultation/ChatGPTAddress.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace orvel {

namespace {

using Result = ChatGPTDeliveryResult;
using Stage = ChatGPTDeliveryTrace::ReceiptReadStage;

void enter(ChatGPTOperations& operations, Stage stage) {
    if (auto* trace = operations.trace()) trace->receiptStage(stage);
}

// Holds the attempt to its conversation, which a page that has moved shows for the first time; false while
// the page has not moved.
bool hasMoved(ChatGPTDeliveryAttempt& attempt, const std::string& url) {
    if (attempt.conversationURL) {
        stopUnless(url == *attempt.conversationURL, "The conversation changed while checking delivery.");
        return true;
    }
    if (url == attempt.page.url) return false;
    stopUnless(ChatGPTAddress(url).isConversation(), "Couldn't verify the new conversation.");
    attempt.conversationURL = url;
    return true;
}

} // namespace

ChatGPTReceiptReader::ChatGPTReceiptReader(MainLoop& loop, ChatGPTOperations& operations,
                                           ChatGPTElements& elements, ChatGPTPageReader& pages,
                                           ChatGPTComposerReader& composers)
    : loop(loop), operations(operations), elements(elements), pages(pages), composers(composers) {}

Task<std::optional<Result>> ChatGPTReceiptReader::pollReceipt(ChatGPTDeliveryAttempt& attempt,
                                                              bool requireForeground) {
    for (int number = 1; number <= maximumReads; ++number) {
        co_await loop.sleep(pause);
        std::optional<Result> result;
        bool isStopped = false;
        try {
            result = co_await readUnlessTooEarly(attempt, requireForeground);
        } catch (const Failure& failure) {
            static_cast<void>(failure); // What was pressed stays pressed, whatever could not be read.
            isStopped = true;
        }
        if (result) co_return result;
        if (!isStopped) continue;
        if (auto* trace = operations.trace()) trace->receiptStopped();
        break;
    }
    co_return std::nullopt;
}

Task<std::optional<Result>> ChatGPTReceiptReader::readUnlessTooEarly(ChatGPTDeliveryAttempt& attempt,
                                                                     bool requireForeground) {
    try {
        co_return co_await readReceipt(attempt, requireForeground);
    } catch (const ChatGPTAXReadFailure& failure) {
        if (!failure.isTransient()) throw;
    } catch (const ChatGPTPageNotObservable& failure) {
        static_cast<void>(failure); // The trace has it, and the next look may see more.
    }
    co_return std::nullopt;
}

Task<std::optional<Result>> ChatGPTReceiptReader::readReceipt(ChatGPTDeliveryAttempt& attempt,
                                                              bool requireForeground) {
    if (requireForeground) pages.requireForeground(attempt.page);
    enter(operations, Stage::page);
    const ChatGPTPageReader::Request request{attempt.page.pid, ChatGPTPageReader::Caller::receipt,
                                             attempt.page.window};
    const auto page = co_await pages.activePage(request);
    if (!hasMoved(attempt, page.url)) co_return std::nullopt;
    enter(operations, Stage::composer);
    const auto editor = co_await composers.composer(page.web);
    const auto evidence = co_await receiptEvidence(attempt.question, attempt.filename, page, editor);
    enter(operations, Stage::finalIdentity);
    co_await pages.verifySamePage(page);
    if (requireForeground) pages.requireForeground(page);
    if (!evidence.confirmed()) co_return std::nullopt;
    co_return Result{*attempt.conversationURL, attempt.modelDescription};
}

Task<ChatGPTReceiptEvidence> ChatGPTReceiptReader::receiptEvidence(std::string question, std::string filename,
                                                                   ChatGPTPage page, AXElement editor) {
    ChatGPTReceiptEvidence evidence;
    evidence.sameChat = ChatGPTAddress(page.url).kind == ChatGPTURLKind::chat;
    enter(operations, Stage::region);
    const auto region = co_await composers.composerRegion(editor, page.web);
    enter(operations, Stage::candidates);
    co_await lookForCandidates(question, filename, page.web, region, evidence);
    enter(operations, Stage::diagnostics);
    co_await diagnoseComposer(filename, editor, region, evidence);
    if (auto* trace = operations.trace()) trace->receiptEvidence(evidence);
    co_return evidence;
}

Task<void> ChatGPTReceiptReader::lookForCandidates(std::string question, std::string filename, AXElement web,
                                                   AXElement region, ChatGPTReceiptEvidence& evidence) {
    static constexpr std::array<std::string_view, 4> attributes{"AXValue", "AXTitle", "AXDescription",
                                                                "AXHelp"};
    const auto nodes = co_await elements.descendants(web);
    const auto readAhead =
        elements.attributes().port().readAhead(web, attributes, ChatGPTElements::maximumElements);
    for (const auto& node : nodes) {
        if (evidence.questionOutside && evidence.archiveOutside) break;
        bool isQuestion = false, isArchive = false;
        if (node.role == "AXStaticText") {
            co_await elements.step();
            const auto text = elements.checkedString(node.element, "AXValue");
            isQuestion = text == question;
            isArchive = text == filename;
        } else if ((node.role == "AXButton" || node.role == "AXGroup") && !evidence.archiveOutside) {
            const auto labels = co_await elements.labels(node.element);
            isArchive = labels.contains(filename);
        }
        if (!isQuestion && !isArchive) continue;
        enter(operations, Stage::ancestry);
        const bool isOutside = co_await isOutsideComposer(node.element, region, web);
        evidence.questionOutside = evidence.questionOutside || (isQuestion && isOutside);
        evidence.archiveOutside = evidence.archiveOutside || (isArchive && isOutside);
    }
}

Task<bool> ChatGPTReceiptReader::isOutsideComposer(AXElement element, AXElement region, AXElement web) {
    using End = ChatGPTElements::Ancestry::End;
    const auto above = co_await elements.ancestry(element, web);
    const auto& ancestors = above.ancestors;
    if (element == region || std::find(ancestors.begin(), ancestors.end(), region) != ancestors.end())
        co_return false;
    stopUnless(above.end != End::top, "Couldn't verify that the receipt and editor belong to the same "
                                      "conversation. No automatic resend.");
    stopUnless(above.end == End::found, "Couldn't fully verify receipt ownership. No automatic resend.");
    co_return true;
}

// What has no vote. Whatever can't be told stays untold.
Task<void> ChatGPTReceiptReader::diagnoseComposer(std::string filename, AXElement editor, AXElement region,
                                                  ChatGPTReceiptEvidence& evidence) {
    using Kind = ChatGPTComposerReader::Content::Kind;
    const std::optional<std::string> noFile, file = filename;
    try {
        const auto content = co_await composers.content(editor, true);
        if (content.kind != Kind::unproven) evidence.composerEmpty = content.kind == Kind::empty;
    } catch (const Failure& failure) {
        static_cast<void>(failure);
    }
    try {
        const auto without = co_await composers.attachmentNames(region, noFile);
        if (without) {
            evidence.attachmentsConsumed = true;
        } else {
            const auto with = co_await composers.attachmentNames(region, file);
            if (with) evidence.attachmentsConsumed = false;
        }
    } catch (const Failure& failure) {
        static_cast<void>(failure);
    }
}

} // namespace orvel
