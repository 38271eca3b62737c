#include "Orvel/consultation/ChatGPTLastLook.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"

#include <vector>

namespace orvel {

Task<void> ChatGPTLastLook::verify(ChatGPTPage page, std::optional<ChatGPTExpectedText> expected) {
    for (int look = 1; look <= maximumLooks; ++look) {
        co_await loop.yield();
        const auto began = loop.uptime();
        std::vector<AXRequest> requests{{elements.application(page.pid), "AXFocusedWindow"},
                                        {page.web, "AXURL"}};
        if (expected) requests.push_back({expected->editor, "AXValue"});
        const auto values = elements.attributes().values(requests);
        if (expected) stopUnless(values.back() == AXValue(expected->text), expected->otherwise);
        const bool isSameURL = values[1] == AXValue(AXURL{page.url}) || values[1] == AXValue(page.url);
        stopUnless(values[0] == AXValue(page.window) && isSameURL,
                   "The ChatGPT tab changed during the operation.");
        pages.requireForeground(page);
        if (loop.uptime() - began <= maximumAge) co_return;
    }
}

} // namespace orvel
