#include "Orvel/consultation/ChatGPTElements.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace orvel {

namespace {

using Refusal = AccessibilityWalk::Refusal;

constexpr std::string_view unverifiedStructure = "Couldn't fully verify the view structure.",
                           invalidStructure = "The view structure reading is invalid.";

} // namespace

ChatGPTElements::ChatGPTElements(const Desktop& ports, ChatGPTOperations& operations)
    : reads(ports.loop, ports.accessibility, applicationTimeout,
            [&operations](std::string_view attribute, AXStatus status) {
                if (const auto* context = operations.current()) {
                    context->record->axFailure(ChatGPTAXReadFailure::kindOf(attribute),
                                               static_cast<std::int32_t>(status), context->pageReadTruncated);
                }
                throw ChatGPTAXReadFailure(attribute, status);
            }),
      operations(operations) {}

AXElement ChatGPTElements::application(ProcessID process) const {
    const auto application = reads.port().application(process);
    reads.bound(application);
    return application;
}

AXValue ChatGPTElements::checkedAttribute(const AXElement& element, std::string_view attribute) const {
    return reads.value(element, attribute);
}

std::optional<std::string> ChatGPTElements::checkedString(const AXElement& element,
                                                          std::string_view attribute) const {
    auto value = checkedAttribute(element, attribute);
    if (isNothing(value)) return std::nullopt;
    auto* text = std::get_if<std::string>(&value);
    stopUnless(text != nullptr, "Couldn't verify the text attribute type.");
    return std::move(*text);
}

std::optional<AXElement> ChatGPTElements::element(const AXElement& of, std::string_view attribute) const {
    return reads.element(of, attribute);
}

std::string ChatGPTElements::requiredText(const AXElement& editor) const {
    auto text = reads.string(editor, "AXValue");
    stopUnless(text.has_value(), "Couldn't read the editor content. Stopped without treating it as empty.");
    return *std::move(text);
}

bool ChatGPTElements::checkedEnabled(const AXElement& element) const {
    return checkedAttribute(element, "AXEnabled") == AXValue(true);
}

std::optional<bool> ChatGPTElements::isSettable(const AXElement& element, std::string_view attribute) const {
    const auto settable = reads.port().isSettable(element, attribute);
    if (settable.status == AXStatus::success) return settable.isSettable;
    const ChatGPTAXReadFailure failure(attribute, settable.status);
    if (failure.isTransient()) reads.checked({settable.status, {}}, attribute);
    return std::nullopt;
}

Task<ChatGPTPointerHit::Frame> ChatGPTElements::frame(AXElement element) {
    co_await step();
    const auto position = checkedAttribute(element, "AXPosition");
    co_await step();
    const auto size = checkedAttribute(element, "AXSize");
    stopUnless(!isNothing(position) && !isNothing(size), "Couldn't read the control’s position and size.");
    const auto* corner = std::get_if<AXPoint>(&position);
    const auto* extent = std::get_if<AXSize>(&size);
    stopUnless(corner && extent, "Couldn't verify the control’s position.");
    co_return ChatGPTPointerHit::Frame{corner->x, corner->y, extent->width, extent->height};
}

AXElements ChatGPTElements::children(const AXElement& element) const {
    auto value = checkedAttribute(element, "AXChildren");
    if (isNothing(value)) return {};
    auto* list = std::get_if<AXElements>(&value);
    stopUnless(list != nullptr, invalidStructure);
    return std::move(*list);
}

Task<ChatGPTElements::Labels> ChatGPTElements::labels(AXElement element) {
    Labels labels;
    for (const auto attribute : labelAttributes) {
        co_await step();
        auto label = checkedString(element, attribute);
        if (label && !label->empty()) labels.insert(*std::move(label));
    }
    co_return labels;
}

void ChatGPTElements::refuse(Refusal refusal) {
    if (auto* context = operations.current())
        context->pageReadTruncated = refusal == Refusal::tooManyElements;
    throw RelaySendError(std::string(refusal == Refusal::noList ? invalidStructure : unverifiedStructure));
}

Task<ChatGPTElements::Nodes> ChatGPTElements::descendants(AXElement root) {
    Refusal refusal{};
    const AccessibilityWalk::Rules rules{true, &refusal};
    auto nodes = co_await AccessibilityWalk::descendants(reads, root, maximumElements, rules);
    if (!nodes) refuse(refusal);
    co_return *std::move(nodes);
}

Task<AXElements> ChatGPTElements::elementsOfRole(AXElement root, std::string role) {
    Refusal refusal{};
    const AccessibilityWalk::Rules rules{true, &refusal};
    auto found = co_await AccessibilityWalk::elementsOfRole(reads, root, role, maximumElements, rules);
    if (!found) refuse(refusal);
    co_return *std::move(found);
}

Task<AXElements> ChatGPTElements::find(AXElement in, std::string role, Labels labels) {
    const auto candidates = co_await elementsOfRole(in, role);
    const auto announced = reads.announce(candidates, labelAttributes);
    AXElements found;
    for (const auto& candidate : candidates) {
        const auto own = co_await this->labels(candidate);
        const auto isIt = [&labels](const std::string& label) { return labels.contains(label); };
        if (std::any_of(own.begin(), own.end(), isIt)) found.push_back(candidate);
    }
    co_return found;
}

Task<AXElement> ChatGPTElements::findControl(AXElement in, std::string role, Labels labels) {
    const auto found = co_await find(in, role, labels);
    stopUnless(found.size() == 1, "Couldn't uniquely identify the required ChatGPT control.");
    co_return found.front();
}

Task<ChatGPTElements::Ancestry> ChatGPTElements::ancestry(AXElement element, AXElement sought) {
    Ancestry found;
    auto current = element;
    for (int level = 0; current != sought; ++level) {
        if (level == maximumLevels) co_return found;
        co_await step();
        const auto parent = this->element(current, "AXParent");
        if (!parent) {
            found.end = Ancestry::End::top;
            co_return found;
        }
        reads.bound(*parent);
        current = *parent;
        found.ancestors.push_back(current);
    }
    found.end = Ancestry::End::found;
    co_return found;
}

Task<bool> ChatGPTElements::isWithin(AXElement element, AXElement ancestor) {
    const auto above = co_await ancestry(element, ancestor);
    co_return above.end == Ancestry::End::found;
}

Task<bool> ChatGPTElements::checkedWithin(AXElement element, AXElement ancestor) {
    const auto above = co_await ancestry(element, ancestor);
    stopUnless(above.end != Ancestry::End::tooFar, "Couldn't fully verify element ownership.");
    co_return above.end == Ancestry::End::found;
}

} // namespace orvel
