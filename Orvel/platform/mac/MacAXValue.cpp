#include "Orvel/platform/mac/MacAXValue.h"

#include "Orvel/platform/mac/CFText.h"

#include <optional>
#include <vector>

namespace orvel {

namespace {

AXOpaque opaque(CFTypeRef object) {
    return {std::make_shared<MacIdentity>(CFOwned<CFTypeRef>::shared(object))};
}

AXUIElementRef elementIn(CFTypeRef object) {
    return objectOfType<AXUIElementRef>(object, AXUIElementGetTypeID());
}

// A point, a size or a range, as the structure in which C has it.
template <typename T>
std::optional<T> unpacked(AXValueRef packed, AXValueType type) {
    T value{};
    return AXValueGetValue(packed, type, &value) ? std::optional(value) : std::nullopt;
}

AXValue packedValue(AXValueRef packed) {
    const auto type = AXValueGetType(packed);
    if (type == kAXValueTypeCFRange) {
        if (const auto range = unpacked<CFRange>(packed, type))
            return AXRange{range->location, range->length};
    } else if (type == kAXValueTypeCGPoint) {
        if (const auto point = unpacked<CGPoint>(packed, type)) return AXPoint{point->x, point->y};
    } else if (type == kAXValueTypeCGSize) {
        if (const auto size = unpacked<CGSize>(packed, type)) return AXSize{size->width, size->height};
    }
    return opaque(packed);
}

AXValue listValue(CFArrayRef array) {
    AXElements elements;
    std::vector<std::string> texts;
    const auto count = CFArrayGetCount(array);
    for (CFIndex i = 0; i < count; ++i) {
        const auto* each = CFArrayGetValueAtIndex(array, i);
        if (const auto* element = elementIn(each))
            elements.push_back(handleOf(element));
        else if (auto text = textIn(each))
            texts.push_back(std::move(*text));
        else
            return opaque(array);
    }
    if (texts.empty()) return elements;
    if (elements.empty()) return texts;
    return opaque(array);
}

} // namespace

bool MacIdentity::equals(const AXIdentity& other) const {
    const auto* theirs = dynamic_cast<const MacIdentity*>(&other);
    return theirs && get() && theirs->get() && CFEqual(get(), theirs->get());
}

AXElement handleOf(AXUIElementRef element) {
    return AXElement(std::make_shared<MacIdentity>(CFOwned<CFTypeRef>::shared(element)));
}

AXUIElementRef elementBehind(const AXElement& handle) {
    const auto* identity = dynamic_cast<const MacIdentity*>(&handle.identity());
    return identity ? elementIn(identity->get()) : nullptr;
}

AXValue valueOf(CFTypeRef object) {
    if (!object) return {};
    const auto type = CFGetTypeID(object);
    if (type == CFNullGetTypeID()) return AXNull();
    if (type == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0;
    if (type == AXValueGetTypeID()) return packedValue(static_cast<AXValueRef>(object));
    if (type == CFArrayGetTypeID()) return listValue(static_cast<CFArrayRef>(object));
    if (const auto* element = elementIn(object)) return handleOf(element);
    if (type == CFNumberGetTypeID()) {
        double number = 0;
        if (CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberDoubleType, &number)) return number;
    } else if (type == CFURLGetTypeID()) {
        if (auto text = textOf(CFURLGetString(static_cast<CFURLRef>(object)))) return AXURL{std::move(*text)};
    } else if (auto text = textIn(object)) {
        return std::move(*text);
    }
    return opaque(object);
}

CFOwned<CFTypeRef> objectOf(const AXValue& value) {
    if (const auto* truth = std::get_if<bool>(&value))
        return CFOwned<CFTypeRef>::shared(*truth ? kCFBooleanTrue : kCFBooleanFalse);
    const auto* text = std::get_if<std::string>(&value);
    return text ? CFOwned<CFTypeRef>::shared(stringOf(*text).get()) : CFOwned<CFTypeRef>();
}

} // namespace orvel
