#include "FakeElements.h"

#include "FakeMac.h"

#include <algorithm>

namespace orvel::macfake {

Node::Shared Node::append(const std::string& role) {
    children.push_back(std::make_shared<Node>(process, role));
    children.back()->parent = weak_from_this();
    return children.back();
}

bool Node::covers(CGPoint point) const {
    const auto place = attributes.find("AXPosition"), extent = attributes.find("AXSize");
    if (place == attributes.end() || extent == attributes.end()) return false;
    const auto origin = std::get<CGPoint>(place->second);
    const auto size = std::get<CGSize>(extent->second);
    return point.x >= origin.x && point.x < origin.x + size.width && point.y >= origin.y &&
           point.y < origin.y + size.height;
}

namespace {

struct Call {
    AXError error = kAXErrorFailure;
    Node* node = nullptr;
};

// One exchange with another program about an element of it.
Call asked(AXUIElementRef element, const char* function, bool isOfScreen = false) {
    auto& mac = FakeMac::current();
    const auto* known = given<ElementObject>(element, function);
    if (!known) return {kAXErrorIllegalArgument};
    if (!known->timeout) complain(std::string(function) + " is called before the element has a timeout");
    ++mac.calls;
    if (!mac.isTrusted) return {kAXErrorAPIDisabled};
    if (isOfScreen != !known->node) return {kAXErrorIllegalArgument};
    if (known->node && known->node->isGone) return {kAXErrorInvalidUIElement};
    if (!mac.isHanging) return {kAXErrorSuccess, known->node.get()};
    const auto waited = known->timeout.value_or(std::chrono::seconds(6));
    mac.waits.push_back(std::chrono::round<std::chrono::milliseconds>(waited));
    mac.now += mac.waits.back();
    return {kAXErrorCannotComplete};
}

std::string textGiven(CFStringRef string, const char* function) {
    const auto* known = given<StringObject>(string, function);
    return known ? known->text() : std::string();
}

std::optional<FakeValue> valueOf(const Node& node, const std::string& name) {
    if (const auto found = node.attributes.find(name); found != node.attributes.end()) return found->second;
    if (name == "AXChildren") {
        FakeList list;
        for (const auto& each : node.children) list.emplace_back(each);
        return FakeValue(std::move(list));
    }
    if (name != "AXParent") return std::nullopt;
    const auto parent = node.parent.lock();
    return parent ? FakeValue(parent) : FakeValue();
}

Node::Shared deepest(const Node::Shared& node, CGPoint point) {
    for (auto each = node->children.rbegin(); each != node->children.rend(); ++each)
        if (auto found = deepest(*each, point)) return found;
    return node->covers(point) ? node : nullptr;
}

} // namespace
} // namespace orvel::macfake

using namespace orvel::macfake;

Boolean AXIsProcessTrusted() {
    return FakeMac::current().isTrusted;
}

CFTypeID AXUIElementGetTypeID() {
    return static_cast<CFTypeID>(Kind::element);
}
CFTypeID AXValueGetTypeID() {
    return static_cast<CFTypeID>(Kind::axValue);
}

AXUIElementRef AXUIElementCreateApplication(pid_t process) {
    auto& applications = FakeMac::current().applications;
    const auto found = applications.find(process);
    if (found != applications.end()) return referenceTo<AXUIElementRef>(make<ElementObject>(found->second));
    auto nobody = std::make_shared<Node>(process, "AXApplication");
    nobody->isGone = true;
    return referenceTo<AXUIElementRef>(make<ElementObject>(nobody));
}

AXUIElementRef AXUIElementCreateSystemWide() {
    return referenceTo<AXUIElementRef>(make<ElementObject>(nullptr));
}

AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float seconds) {
    auto* known = given<ElementObject>(element, __func__);
    if (!known || seconds < 0) return kAXErrorIllegalArgument;
    known->timeout.reset();
    if (seconds > 0) known->timeout = std::chrono::duration<float>(seconds);
    return kAXErrorSuccess;
}

AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef* value) {
    const auto [error, node] = asked(element, __func__);
    const auto name = textGiven(attribute, __func__);
    if (*value) complain("a value is put over another");
    if (error != kAXErrorSuccess) return error;
    const auto found = valueOf(*node, name);
    if (!found) return kAXErrorAttributeUnsupported;
    if (const auto* failure = std::get_if<AXError>(&*found)) return *failure;
    if (std::holds_alternative<std::monostate>(*found)) return kAXErrorNoValue;
    *value = objectFor(*found);
    return kAXErrorSuccess;
}

AXError AXUIElementIsAttributeSettable(AXUIElementRef element, CFStringRef attribute, Boolean* isSettable) {
    const auto [error, node] = asked(element, __func__);
    const auto name = textGiven(attribute, __func__);
    *isSettable = 1; // As anything that was there before, until it succeeds.
    if (error != kAXErrorSuccess) return error;
    *isSettable = node->write && valueOf(*node, name);
    return kAXErrorSuccess;
}

AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value) {
    const auto [error, node] = asked(element, __func__);
    const auto name = textGiven(attribute, __func__);
    const auto* written = objectBehind(value, __func__);
    if (error != kAXErrorSuccess || !written) return error;
    return node->write ? node->write(name, *written) : kAXErrorAttributeUnsupported;
}

AXError AXUIElementCopyActionNames(AXUIElementRef element, CFArrayRef* names) {
    const auto [error, node] = asked(element, __func__);
    if (error != kAXErrorSuccess) return error;
    FakeList list;
    for (const auto& each : node->actions) list.emplace_back(each);
    *names = referenceTo<CFArrayRef>(objectFor(FakeValue(std::move(list))));
    return kAXErrorSuccess;
}

AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action) {
    const auto [error, node] = asked(element, __func__);
    const auto name = textGiven(action, __func__);
    if (error != kAXErrorSuccess) return error;
    if (std::find(node->actions.begin(), node->actions.end(), name) == node->actions.end())
        return kAXErrorActionUnsupported;
    if (node->perform) node->perform(name);
    return kAXErrorSuccess;
}

AXError AXUIElementCopyElementAtPosition(AXUIElementRef application, float x, float y,
                                         AXUIElementRef* element) {
    const auto [error, node] = asked(application, __func__, true);
    if (error != kAXErrorSuccess) return error;
    for (const auto& [process, root] : FakeMac::current().applications) {
        const auto found = deepest(root, {x, y});
        if (!found) continue;
        *element = referenceTo<AXUIElementRef>(make<ElementObject>(found));
        return kAXErrorSuccess;
    }
    return kAXErrorNoValue;
}

// Of the reference alone: no other program is asked.
AXError AXUIElementGetPid(AXUIElementRef element, pid_t* process) {
    const auto* known = given<ElementObject>(element, __func__);
    if (!known || !known->node) return kAXErrorIllegalArgument;
    *process = known->node->process;
    return kAXErrorSuccess;
}

AXValueType AXValueGetType(AXValueRef value) {
    const auto* known = given<AXValueObject>(value, __func__);
    return known ? static_cast<AXValueType>(known->value.index() + 1) : kAXValueTypeIllegal;
}

Boolean AXValueGetValue(AXValueRef value, AXValueType type, void* written) {
    const auto* known = given<AXValueObject>(value, __func__);
    if (!known || type != AXValueGetType(value)) return false;
    std::visit([&](const auto& each) { *static_cast<std::decay_t<decltype(each)>*>(written) = each; },
               known->value);
    return true;
}
