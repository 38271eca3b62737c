#include "Orvel/consultation/ChatGPTQuestionEntry.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTStableSnapshot.h"
#include "OrvelCore/text/Unicode.h"

#include <exception>

namespace orvel {

namespace {

using Reading = ChatGPTDeliveryTrace::QuestionReadKind;
using Stopped = ChatGPTDeliveryTrace::QuestionFailure;

} // namespace

void ChatGPTQuestionEntry::requireDistinguishable(std::string_view question, std::string_view original) {
    stopUnless(trimmed(question) != trimmed(original),
               "Couldn't distinguish the question from the empty-editor placeholder. Nothing was entered.");
}

Task<void> ChatGPTQuestionEntry::enter(std::string question, ChatGPTAttachingTarget target) {
    const auto& [archive, page, editor, region] = target;
    rooms.enter(ChatGPTDeliveryTrace::Phase::question);
    rooms.pages.requireForeground(page);
    const auto found = co_await rooms.composers.composer(page.web);
    stopUnless(found == editor, "The editor changed during attachment. The question was not entered.");
    co_await rooms.elements.step();
    const auto original = rooms.elements.requiredText(editor);
    co_await rooms.composers.requireEmptyComposer(editor, true);
    requireDistinguishable(question, original);
    co_await rooms.pages.verifySamePage(page);
    const ChatGPTExpectedText unchanged{
        editor, original,
        "The editor content changed before entering the question. Existing content was kept."};
    co_await rooms.lastLook.verify(page, unchanged);
    const auto status = rooms.ports.accessibility.setAttribute(editor, "AXValue", AXValue(question));
    if (auto* trace = rooms.operations.trace()) trace->questionWrite(static_cast<std::int32_t>(status));
    co_await awaitQuestion(question, original, target);
}

Task<void> ChatGPTQuestionEntry::awaitQuestion(std::string question, std::string original,
                                               ChatGPTAttachingTarget target) {
    const ChatGPTStableSnapshot::Limits limits{maximumReads, timeout};
    const ChatGPTStableSnapshot::Read<bool> read = [this, question, original, target](int number) {
        return readBack(question, original, target, number);
    };
    auto* trace = rooms.operations.trace();
    const auto note = [trace](Stopped stopped) {
        if (trace) trace->questionFailure(stopped);
    };
    try {
        co_await ChatGPTStableSnapshot::capture<bool>(rooms.ports.loop, limits, read);
    } catch (const ChatGPTQuestionReadback::Failure& failure) {
        note(Stopped::unexpected);
        throw RelaySendError(failure.what());
    } catch (const ChatGPTStableSnapshot::Failure&) {
        note(Stopped::notReflected);
        throw RelaySendError(
            "Couldn't verify the question in time. The content was kept without rewriting or sending.");
    } catch (const std::exception&) {
        note(Stopped::validationOrReadFailed);
        throw;
    }
}

Task<std::optional<bool>> ChatGPTQuestionEntry::readBack(std::string question, std::string original,
                                                         ChatGPTAttachingTarget target, int number) {
    const auto& [archive, page, editor, region] = target;
    rooms.pages.requireForeground(page);
    co_await rooms.pages.verifySamePage(page);
    co_await rooms.composers.verifyHeldComposer(editor, region, page);
    const auto filename = target.filename();
    co_await rooms.composers.requireOnlyAttachment(
        region, filename, "The editor or attachment changed while verifying the question. Nothing was sent.");
    co_await rooms.elements.step();
    const auto text = rooms.elements.requiredText(editor);
    const auto kind = text == question   ? Reading::expected
                      : text == original ? Reading::originalEmpty
                                         : Reading::different;
    if (auto* trace = rooms.operations.trace()) trace->questionRead(number, kind, utf16Length(text));
    if (kind == Reading::different) throw ChatGPTQuestionReadback::Failure();
    rooms.pages.requireForeground(page);
    co_await rooms.pages.verifySamePage(page);
    if (kind == Reading::originalEmpty) co_return std::nullopt;
    co_return true;
}

} // namespace orvel
