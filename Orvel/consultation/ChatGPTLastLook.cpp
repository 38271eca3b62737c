#include "Orvel/consultation/ChatGPTLastLook.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"

namespace orvel {

namespace {

constexpr const char* changed = "The ChatGPT tab changed during the operation.";

} // namespace

// A look that takes too long gives way to the loop and begins anew, since nobody can shorten a slow call.
Task<void> ChatGPTLastLook::verify(ChatGPTPage page, std::optional<ChatGPTExpectedText> expected) {
    for (int look = 1; look <= maximumLooks; ++look) {
        co_await loop.yield();
        const auto began = loop.uptime();
        const auto isFresh = [&] { return look == maximumLooks || loop.uptime() - began <= maximumAge; };
        if (expected)
            stopUnless(elements.requiredText(expected->editor) == expected->text, expected->otherwise);
        if (!isFresh()) continue;
        const auto window = elements.element(elements.application(page.pid), "AXFocusedWindow");
        stopUnless(window == page.window, changed);
        if (!isFresh()) continue;
        const auto url = elements.checkedAttribute(page.web, "AXURL");
        stopUnless(url == AXValue(AXURL{page.url}) || url == AXValue(page.url), changed);
        pages.requireForeground(page);
        if (isFresh()) co_return;
    }
}

} // namespace orvel
