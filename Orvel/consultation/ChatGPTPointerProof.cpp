#include "Orvel/consultation/ChatGPTPointerProof.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"

namespace orvel {

AXPoint chatGPTPointerPoint(const ChatGPTPointerHit::Frame& control, const ChatGPTPointerHit::Frame& window) {
    const auto point = ChatGPTPointerHit::pointerPoint(control, window);
    stopUnless(point.has_value(),
               "Couldn't verify the control’s position in the same window. Nothing was clicked.");
    return {point->x, point->y};
}

Task<void> verifyChatGPTPointerHit(ChatGPTElements& elements, ChatGPTOperations& operations, AXPoint point,
                                   AXElement control, ChatGPTPage page) {
    using ChatGPTPointerHit::Decision;
    const auto& reads = elements.attributes();
    const auto note = [&operations](const ChatGPTPointerHit::Hit& hit) {
        if (auto* trace = operations.trace()) trace->pointerHit(hit);
    };
    co_await elements.step();
    const auto value = reads.checked(reads.port().elementAtPosition(point), "AXHitTest");
    const auto* found = std::get_if<AXElement>(&value);
    stopUnless(found != nullptr, "Couldn't verify the element at the click position.");
    reads.bound(*found);
    ChatGPTPointerHit::Hit hit;
    co_await elements.step();
    hit.isSameProcess = reads.port().process(*found) == page.pid;
    if (!hit.isSameProcess) {
        note(hit);
        throw RelaySendError("The click position belongs to another app. Nothing was clicked.");
    }
    co_await elements.step();
    const auto role = elements.checkedString(*found, "AXRole");
    stopUnless(role.has_value(), "Couldn't verify the role at the click position.");
    hit.role = *role;
    hit.isSameTarget = *found == control;
    if (!hit.isSameTarget) {
        hit.isBelowTarget = co_await elements.isWithin(*found, control);
        hit.isAboveTarget = co_await elements.isWithin(control, *found);
    }
    hit.isInWeb = co_await elements.isWithin(*found, page.web);
    note(hit);
    switch (ChatGPTPointerHit::decide(hit)) {
    case Decision::exact: co_return;
    case Decision::pendingAncestor: throw ChatGPTPointerHit::Failure();
    case Decision::rejected: break;
    }
    throw RelaySendError(
        "Couldn't verify that the click position is the same ChatGPT control. Stopped without "
        "clicking another element.");
}

} // namespace orvel
