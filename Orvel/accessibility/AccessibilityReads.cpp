#include "Orvel/accessibility/AccessibilityReads.h"

#include <utility>

namespace orvel {

AXValue AccessibilityReads::value(const AXElement& element, std::string_view attribute) const {
    return checked(accessibility.attribute(element, attribute), attribute);
}

std::vector<AXValue> AccessibilityReads::values(std::span<const AXRequest> requests) const {
    auto readings = accessibility.attributes(requests);
    std::vector<AXValue> values;
    values.reserve(readings.size());
    for (std::size_t i = 0; i < readings.size(); ++i)
        values.push_back(checked(std::move(readings[i]), requests[i].name));
    return values;
}

AXValue AccessibilityReads::checked(AXReading reading, std::string_view attribute) const {
    switch (reading.status) {
    case AXStatus::success: return std::move(reading.value);
    case AXStatus::noValue:
    case AXStatus::attributeUnsupported: return {};
    default: break;
    }
    if (onFailure) onFailure(attribute, reading.status);
    throw AccessibilityReadFailure("Couldn't read another application's window. AX status=" +
                                       std::to_string(static_cast<std::int32_t>(reading.status)) + ".",
                                   attribute, reading.status);
}

std::optional<std::string> AccessibilityReads::string(const AXElement& element,
                                                      std::string_view attribute) const {
    auto found = value(element, attribute);
    auto* text = std::get_if<std::string>(&found);
    return text ? std::optional(std::move(*text)) : std::nullopt;
}

std::optional<AXElement> AccessibilityReads::element(const AXElement& element,
                                                     std::string_view attribute) const {
    const auto found = value(element, attribute);
    const auto* other = std::get_if<AXElement>(&found);
    return other ? std::optional(*other) : std::nullopt;
}

AccessibilityReads::ReadAheads
AccessibilityReads::announce(std::span<const AXElement> elements,
                             std::span<const std::string_view> attributes) const {
    ReadAheads announced;
    announced.reserve(elements.size());
    for (const auto& each : elements) announced.push_back(accessibility.readAhead(each, attributes, 1));
    return announced;
}

} // namespace orvel
