#include "Orvel/consultation/ChatGPTControlAction.h"

#include "Orvel/consultation/ChatGPTPointerProof.h"
#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTStableSnapshot.h"
#include "Orvel/desktop/EventPosting.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

namespace {

using Frame = ChatGPTPointerHit::Frame;
using Pressing = ChatGPTDeliveryTrace::ControlAction;

constexpr const char* changed = "The ChatGPT control changed immediately before activation.";
constexpr const char* unverifiedAction = "Couldn't verify the UI action.";
constexpr std::string_view pressAction = "AXPress";

bool offersPress(const std::vector<std::string>& actions) {
    return std::find(actions.begin(), actions.end(), pressAction) != actions.end();
}

} // namespace

// What was read when the action was built, and must still hold when it is performed.
struct ChatGPTControls::Plan {
    /// Of a click.
    struct Pointer {
        Frame control, window;
        AXPoint point;
        std::unique_ptr<PreparedEvents> events;
    };

    AXElement control;
    ChatGPTPage page;
    Resolve resolve;
    std::vector<std::string> actions;
    std::optional<Pointer> pointer;
};

Task<PageControlAction> ChatGPTControls::pageControlAction(AXElement control, ChatGPTPage page,
                                                           Resolve resolve) {
    co_await elements.step();
    const auto actions = ports.accessibility.actionNames(control);
    stopUnless(actions.status == AXStatus::success, "Couldn't verify the control’s supported action type.");
    const auto plan =
        std::make_shared<Plan>(Plan{control, page, std::move(resolve), actions.names, std::nullopt});
    if (!offersPress(actions.names)) {
        const auto frame = co_await elements.frame(control);
        const auto windowFrame = co_await elements.frame(page.window);
        const auto point = chatGPTPointerPoint(frame, windowFrame);
        auto events = ports.eventPosting.click(point);
        stopUnless(events != nullptr, unverifiedAction);
        plan->pointer = Plan::Pointer{frame, windowFrame, point, std::move(events)};
    }
    co_return PageControlAction{[this, plan] { return validate(plan); }, [this, plan] { perform(*plan); }};
}

Task<void> ChatGPTControls::validate(std::shared_ptr<const Plan> plan) {
    const auto& [control, page, resolve, actions, pointer] = *plan;
    pages.requireForeground(page);
    co_await pages.verifySamePage(page);
    const auto found = co_await resolve();
    stopUnless(found == control, changed);
    const bool isInWeb = co_await elements.checkedWithin(control, page.web);
    const bool isInWindow = co_await elements.checkedWithin(control, page.window);
    co_await elements.step();
    const auto offered = ports.accessibility.actionNames(control);
    co_await elements.step();
    if (offered.status != AXStatus::success) throw ChatGPTAXReadFailure("AXActionNames", offered.status);
    stopUnless(elements.checkedEnabled(control) && isInWeb && isInWindow && offered.names == actions,
               changed);
    if (pointer) {
        const auto frame = co_await elements.frame(control);
        const auto windowFrame = co_await elements.frame(page.window);
        stopUnless(frame == pointer->control && windowFrame == pointer->window,
                   "The control moved. Nothing was clicked.");
        co_await verifyChatGPTPointerHit(elements, operations, pointer->point, control, page);
    }
    co_await lastLook.verify(page);
}

void ChatGPTControls::perform(const Plan& plan) {
    if (auto* trace = operations.trace())
        trace->controlAction(plan.pointer ? Pressing::pointerClick : Pressing::accessibilityPress);
    if (plan.pointer)
        plan.pointer->events->post();
    else
        press(plan.control);
}

void ChatGPTControls::press(const AXElement& element) const {
    stopUnless(ports.accessibility.performAction(element, pressAction) == AXStatus::success,
               unverifiedAction);
}

Task<void> ChatGPTControls::validateBeforeMutation(PageControlAction action) {
    const ChatGPTStableSnapshot::Limits limits{maximumReads, validationTimeout};
    const ChatGPTStableSnapshot::Read<bool> read = [this, action](int) { return hasPassed(action); };
    try {
        co_await ChatGPTStableSnapshot::capture<bool>(ports.loop, limits, read);
    } catch (const ChatGPTStableSnapshot::Failure&) {
        throw RelaySendError(ChatGPTPointerHit::Failure().what());
    }
}

Task<std::optional<bool>> ChatGPTControls::hasPassed(PageControlAction action) {
    co_await action.validate();
    co_return true;
}

} // namespace orvel
