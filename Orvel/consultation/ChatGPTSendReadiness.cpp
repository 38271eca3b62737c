#include "Orvel/consultation/ChatGPTSendReadiness.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTStableSnapshot.h"
#include "OrvelCore/consultation/ChatGPTComposerShape.h"

#include <utility>
#include <vector>

namespace orvel {

namespace {

constexpr const char* attachmentsChanged =
    "Attachments changed immediately before sending. Nothing was sent.";
constexpr const char* questionChanged = "The question changed immediately before sending. Nothing was sent.";

} // namespace

Task<PreparedDelivery> ChatGPTSendReadiness::awaitReady(ChatGPTAttachingTarget target, std::string question) {
    rooms.enter(ChatGPTDeliveryTrace::Phase::preSend);
    const ChatGPTStableSnapshot::Limits limits{maximumReads, timeout};
    const auto held = std::make_shared<std::optional<AXElement>>();
    const ChatGPTStableSnapshot::Read<PreparedDelivery> each = [this, target, question, held](int) {
        return read(target, question, held);
    };
    try {
        co_return co_await ChatGPTStableSnapshot::capture<PreparedDelivery>(rooms.ports.loop, limits, each);
    } catch (const ChatGPTStableSnapshot::Failure&) {
        throw RelaySendError("The view did not stabilize before sending. The question and attachment were "
                             "kept without sending.");
    }
}

Task<std::optional<PreparedDelivery>> ChatGPTSendReadiness::read(ChatGPTAttachingTarget target,
                                                                 std::string question, Held held) {
    const auto& [archive, page, editor, region] = target;
    rooms.pages.requireForeground(page);
    co_await rooms.pages.verifySamePage(page);
    co_await rooms.composers.verifyHeldComposer(editor, region, page);
    co_await rooms.elements.step();
    stopUnless(rooms.elements.requiredText(editor) == question, questionChanged);
    const auto findSend = [this, in = region] {
        return rooms.elements.findControl(in, "AXButton", {std::string(ChatGPTComposerShape::send)});
    };
    const auto send = co_await findSend();
    stopUnless(!*held || **held == send, "The Send button changed. Nothing was sent.");
    *held = send;
    co_await rooms.elements.step();
    stopUnless(rooms.elements.checkedEnabled(send),
               "ChatGPT’s Send button is disabled. The content was kept without sending.");
    const auto action = co_await rooms.controls.pageControlAction(send, page, findSend);
    const auto model = co_await selectedModelDescription(region);
    const PreparedDelivery delivery{target, question, send, model, action};
    const auto filename = target.filename();
    auto snapshot = preparedSnapshot(delivery);
    co_await ChatGPTDeliveryAttempt::validate(question, filename, std::move(snapshot));
    co_return delivery;
}

Task<ChatGPTDeliveryAttempt::Snapshot> ChatGPTSendReadiness::preparedSnapshot(PreparedDelivery delivery) {
    const auto& [archive, page, editor, region] = delivery.target;
    co_await rooms.pages.verifySamePage(page);
    rooms.pages.requireForeground(page);
    co_await rooms.composers.verifyHeldComposer(editor, region, page);
    const ChatGPTElements::Labels label{std::string(ChatGPTComposerShape::send)};
    const auto sends = co_await rooms.elements.find(region, "AXButton", label);
    stopUnless(sends == AXElements{delivery.send}, "The editor changed immediately before sending.");
    co_await archive.verifyUnchanged(rooms.ports.loop);
    co_await rooms.elements.step();
    const auto text = rooms.elements.requiredText(editor);
    stopUnless(text == delivery.question, questionChanged);
    const auto filename = delivery.target.filename();
    co_await rooms.composers.requireOnlyAttachment(region, filename, attachmentsChanged);
    co_await rooms.elements.step();
    stopUnless(rooms.elements.checkedEnabled(delivery.send), "Send is disabled. Nothing was sent.");
    co_await delivery.action.validate();
    co_return ChatGPTDeliveryAttempt::Snapshot{true, text, std::vector{filename}, true};
}

// The snapshot has looked at the button after the attachments, which takes its time.
Task<void> ChatGPTSendReadiness::lastLook(PreparedDelivery delivery) {
    const auto filename = delivery.target.filename();
    co_await rooms.composers.requireOnlyAttachment(delivery.target.region, filename, attachmentsChanged);
    const ChatGPTExpectedText expected{delivery.target.editor, delivery.question, questionChanged};
    co_await rooms.lastLook.verify(delivery.target.page, expected);
}

Task<std::string> ChatGPTSendReadiness::selectedModelDescription(AXElement region) {
    const ChatGPTElements::Labels label{std::string(ChatGPTComposerShape::selectModel)};
    const auto menus = co_await rooms.elements.find(region, "AXPopUpButton", label);
    stopUnless(menus.size() <= 1, "Couldn't verify the selected ChatGPT model display.");
    if (!menus.empty()) {
        const auto texts = co_await rooms.elements.elementsOfRole(menus.front(), "AXStaticText");
        for (const auto& text : texts) {
            co_await rooms.elements.step();
            const auto name = rooms.elements.checkedString(text, "AXValue");
            if (name && !name->empty()) co_return "Selected model: " + *name + " (unchanged by Orvel)";
        }
    }
    co_return "Browser-selected model (name unavailable; unchanged by Orvel)";
}

} // namespace orvel
