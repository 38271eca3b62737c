#include "Orvel/platform/linux/AtSpiXKeys.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XKeys.h"
#include "Orvel/platform/linux/XSentKey.h"
#include "Orvel/platform/linux/XWindows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace orvel {

namespace {

// The numbers of the keys on macOS, as everywhere above the platforms.
constexpr std::int64_t keyOfA = 0, keyOfV = 9, keyOfBackspace = 51;
constexpr const char* htmlType = "text/html";

// Selects everything, and presses the key behind it. The one can't overtake the other.
bool press(XConnection& connection, std::int64_t key, std::uint64_t flags, ProcessID process) {
    const XKeys keys(connection);
    const auto selection = keys.stroke(keyOfA, SyntheticKey::command), stroke = keys.stroke(key, flags);
    return selection && stroke && sendKeys(connection, std::array{*selection, *stroke}, process);
}

} // namespace

bool AtSpiXKeys::erase(ProcessID process) {
    return press(connection, keyOfBackspace, 0, process);
}

bool AtSpiXKeys::paste(const std::string& text, ProcessID process) {
    auto kept = PasteboardContents::of(pasteboard, {.typesOfItem = maximumTypes, .bytes = maximumBytes});
    if (!kept) return false;
    before = std::move(kept->items);
    const PasteboardItem item{{std::string(PasteboardType::string), text}, {htmlType, pastedHTML(text)}};
    if (!pasteboard.writeItems({item})) return false;
    owned = pasteboard.changeCount();
    // Somebody else may have copied something meanwhile.
    return *owned == kept->changeCount + 1 && press(connection, keyOfV, SyntheticKey::command, process);
}

void AtSpiXKeys::restoreClipboard() {
    const auto ours = std::exchange(owned, std::nullopt);
    auto items = std::exchange(before, {});
    if (!ours || pasteboard.changeCount() != *ours) return; // Not this program's any more.
    if (items.empty() || !pasteboard.writeItems(items)) pasteboard.clearContents();
}

std::string pastedHTML(const std::string& text) {
    std::string html = "<meta charset=\"utf-8\">";
    bool isFirst = true;
    for (std::size_t from = 0; from <= text.size(); isFirst = false) {
        const auto end = std::min(text.find('\n', from), text.size());
        html += isFirst ? "<p data-pm-slice=\"1 1 []\">" : "<p>";
        for (const char each : std::string_view(text).substr(from, end - from)) {
            switch (each) {
            case '&': html += "&amp;"; break;
            case '<': html += "&lt;"; break;
            case '>': html += "&gt;"; break;
            default: html += each;
            }
        }
        html += "</p>";
        from = end + 1;
    }
    return html;
}

std::function<bool(ProcessID)> xWindowOwners(std::string display) {
    return [display = std::move(display)](ProcessID process) {
        const auto connection = XConnection::open(display);
        if (!connection) return false;
        const auto windows = rootWindows(*connection, "_NET_CLIENT_LIST");
        return std::any_of(windows.begin(), windows.end(),
                           [&](xcb_window_t window) { return processOf(*connection, window) == process; });
    };
}

} // namespace orvel
