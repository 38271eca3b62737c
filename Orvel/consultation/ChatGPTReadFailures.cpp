#include "Orvel/consultation/ChatGPTReadFailures.h"

#include <array>
#include <cstdint>
#include <utility>

namespace orvel {

void stopUnless(bool condition, std::string_view text) {
    if (!condition) throw RelaySendError(std::string(text));
}

ChatGPTAXReadFailure::ChatGPTAXReadFailure(std::string_view attribute, AXStatus status)
    : AccessibilityReadFailure("The view could not be read completely. Attribute=" +
                                   std::string(nameOf(kindOf(attribute)).view()) +
                                   ", AXstatus=" + std::to_string(static_cast<std::int32_t>(status)) +
                                   ". Existing content is kept.",
                               attribute, status) {}

ChatGPTAXReadFailure::Attribute ChatGPTAXReadFailure::kindOf(std::string_view attribute) {
    using enum ChatGPTDeliveryTrace::Attribute;
    static constexpr std::array<std::pair<std::string_view, Attribute>, 7> known{
        {{"AXFocusedWindow", focusedWindow},
         {"AXWindows", windows},
         {"AXChildren", children},
         {"AXRole", role},
         {"AXURL", url},
         {"AXValue", value},
         {"AXParent", parent}}};
    for (const auto& [name, kind] : known)
        if (name == attribute) return kind;
    return other;
}

} // namespace orvel
