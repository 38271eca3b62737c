#include "Orvel/platform/mac/MacWindowList.h"

#include "Orvel/platform/mac/CFText.h"

#include <CoreGraphics/CoreGraphics.h>

#include <algorithm>

namespace orvel {

namespace {

WindowList::OwnerName ownerOf(CFTypeRef window) {
    const auto* facts = objectOfType<CFDictionaryRef>(window, CFDictionaryGetTypeID());
    return facts ? textIn(CFDictionaryGetValue(facts, kCGWindowOwnerName)) : std::nullopt;
}

} // namespace

WindowList::Read MacWindowList::reader() {
    return [](std::size_t most) -> std::optional<std::vector<OwnerName>> {
        const auto windows = CFOwned<CFArrayRef>::created(
            CGWindowListCopyWindowInfo(kCGWindowListOptionOnScreenOnly, kCGNullWindowID));
        if (!windows) return std::nullopt;
        const auto count = std::min(CFArrayGetCount(windows.get()), static_cast<CFIndex>(most));
        std::vector<OwnerName> owners;
        owners.reserve(static_cast<std::size_t>(count));
        for (CFIndex i = 0; i < count; ++i)
            owners.push_back(ownerOf(CFArrayGetValueAtIndex(windows.get(), i)));
        return owners;
    };
}

} // namespace orvel
