#include "Orvel/platform/mac/MacAccessibility.h"

#include "Orvel/platform/mac/CFText.h"
#include "Orvel/platform/mac/MacAXValue.h"

#include <algorithm>

namespace orvel {

using namespace std::chrono_literals;

namespace {

// Far more than a walk visits. Beyond it the oldest are forgotten.
constexpr std::size_t mostTimeouts = 32'768;

AXStatus statusOf(AXError error) {
    return static_cast<AXStatus>(error);
}

float secondsOf(std::chrono::milliseconds timeout) {
    return std::chrono::duration<float>(timeout).count();
}

} // namespace

std::size_t MacAccessibility::Hash::operator()(const CFOwned<AXUIElementRef>& element) const {
    return CFHash(element.get());
}

bool MacAccessibility::Equal::operator()(const CFOwned<AXUIElementRef>& one,
                                         const CFOwned<AXUIElementRef>& other) const {
    return CFEqual(one.get(), other.get());
}

// The timeout of the whole screen's element is also that of every element without its own.
MacAccessibility::MacAccessibility()
    : everything(CFOwned<AXUIElementRef>::created(AXUIElementCreateSystemWide())) {
    AXUIElementSetMessagingTimeout(everything.get(), secondsOf(ownTimeout));
}

bool MacAccessibility::isTrusted() {
    return AXIsProcessTrusted() != 0;
}

AXElement MacAccessibility::application(ProcessID process) {
    const auto element = CFOwned<AXUIElementRef>::created(AXUIElementCreateApplication(process));
    return handleOf(element.get());
}

// Timeouts. The system keeps them with each reference to an element, so they are kept here by element.

void MacAccessibility::setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) {
    const auto key = CFOwned<AXUIElementRef>::shared(elementBehind(element));
    if (!key) return;
    const std::lock_guard lock(mutex);
    olderTimeouts.erase(key);
    if (timeout <= 0ms) {
        timeouts.erase(key);
        return;
    }
    if (timeouts.size() >= mostTimeouts) {
        // Whose timeout is forgotten gets one that is no longer.
        for (const auto& [forgotten, its] : olderTimeouts) otherTimeout = std::min(otherTimeout, its);
        olderTimeouts = std::exchange(timeouts, {});
    }
    timeouts.insert_or_assign(key, timeout);
}

std::chrono::milliseconds MacAccessibility::timeoutOf(const CFOwned<AXUIElementRef>& element) {
    const std::lock_guard lock(mutex);
    for (const auto* from : {&timeouts, &olderTimeouts})
        if (const auto found = from->find(element); found != from->end()) return found->second;
    return otherTimeout;
}

AXStatus MacAccessibility::bound(AXUIElementRef element) {
    if (!element) return AXStatus::invalidElement;
    const auto timeout = timeoutOf(CFOwned<AXUIElementRef>::shared(element));
    return statusOf(AXUIElementSetMessagingTimeout(element, secondsOf(timeout)));
}

// Operations

AXReading MacAccessibility::attribute(const AXElement& handle, std::string_view name) {
    const auto* element = elementBehind(handle);
    if (const auto status = bound(element); status != AXStatus::success) return {status, {}};
    CFOwned<CFTypeRef> value;
    const auto status =
        statusOf(AXUIElementCopyAttributeValue(element, stringOf(name).get(), value.receive()));
    if (status != AXStatus::success) return {status, {}};
    return {status, valueOf(value.get())};
}

AXSettable MacAccessibility::isSettable(const AXElement& handle, std::string_view name) {
    const auto* element = elementBehind(handle);
    if (const auto status = bound(element); status != AXStatus::success) return {status, false};
    Boolean answer = 0;
    const auto status = statusOf(AXUIElementIsAttributeSettable(element, stringOf(name).get(), &answer));
    return {status, status == AXStatus::success && answer != 0};
}

AXStatus MacAccessibility::setAttribute(const AXElement& handle, std::string_view name,
                                        const AXValue& value) {
    const auto* element = elementBehind(handle);
    const auto object = objectOf(value);
    if (!object) return AXStatus::failure;
    if (const auto status = bound(element); status != AXStatus::success) return status;
    return statusOf(AXUIElementSetAttributeValue(element, stringOf(name).get(), object.get()));
}

AXActionNames MacAccessibility::actionNames(const AXElement& handle) {
    const auto* element = elementBehind(handle);
    if (const auto status = bound(element); status != AXStatus::success) return {status, {}};
    CFOwned<CFArrayRef> names;
    const auto status = statusOf(AXUIElementCopyActionNames(element, names.receive()));
    if (status != AXStatus::success || !names) return {status, {}};
    const auto value = valueOf(names.get());
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) return {status, *texts};
    const auto* none = std::get_if<AXElements>(&value); // So an empty list is told.
    return {none && none->empty() ? status : AXStatus::failure, {}};
}

AXStatus MacAccessibility::performAction(const AXElement& handle, std::string_view name) {
    const auto* element = elementBehind(handle);
    if (const auto status = bound(element); status != AXStatus::success) return status;
    return statusOf(AXUIElementPerformAction(element, stringOf(name).get()));
}

AXReading MacAccessibility::elementAtPosition(AXPoint point) {
    CFOwned<AXUIElementRef> found;
    const auto status = statusOf(AXUIElementCopyElementAtPosition(
        everything.get(), static_cast<float>(point.x), static_cast<float>(point.y), found.receive()));
    if (status != AXStatus::success || !found) return {status, {}};
    return {status, handleOf(found.get())};
}

std::optional<ProcessID> MacAccessibility::process(const AXElement& handle) {
    const auto* element = elementBehind(handle);
    pid_t process = 0;
    if (!element || AXUIElementGetPid(element, &process) != kAXErrorSuccess) return std::nullopt;
    return process;
}

} // namespace orvel
