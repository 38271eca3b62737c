#include "Orvel/platform/mac/CFText.h"

namespace orvel {

CFOwned<CFStringRef> stringOf(std::string_view text) {
    const auto* bytes = reinterpret_cast<const UInt8*>(text.data());
    const auto count = static_cast<CFIndex>(text.size());
    return CFOwned<CFStringRef>::created(
        CFStringCreateWithBytes(kCFAllocatorDefault, bytes, count, kCFStringEncodingUTF8, false));
}

std::optional<std::string> textOf(CFStringRef string) {
    const CFRange all{0, CFStringGetLength(string)};
    const auto write = [&](UInt8* buffer, CFIndex size, CFIndex* used) {
        return CFStringGetBytes(string, all, kCFStringEncodingUTF8, 0, false, buffer, size, used) ==
               all.length;
    };
    CFIndex size = 0;
    if (!write(nullptr, 0, &size)) return std::nullopt;
    std::string text(static_cast<std::size_t>(size), '\0');
    if (!write(reinterpret_cast<UInt8*>(text.data()), size, &size)) return std::nullopt;
    return text;
}

std::optional<std::string> textIn(CFTypeRef object) {
    const auto* string = objectOfType<CFStringRef>(object, CFStringGetTypeID());
    return string ? textOf(string) : std::nullopt;
}

} // namespace orvel
