// Prints how long reads and writes of a real browser take: no test, since it depends on the machine.

#include "ChromiumPage.h"

#include "Orvel/platform/linux/AtSpiXKeys.h"
#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XPasteboard.h"
#include "Orvel/platform/posix/PollLoop.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begun) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begun).count();
}

void print(const char* what, int times, const std::function<bool()>& once) {
    std::vector<double> all;
    int failures = 0;
    for (int i = 0; i < times; ++i) {
        const auto begun = Clock::now();
        if (!once()) ++failures;
        all.push_back(millisecondsSince(begun));
    }
    std::sort(all.begin(), all.end());
    const auto late = std::count_if(all.begin(), all.end(), [](double each) { return each > 15; });
    std::printf("%-58s median %7.2f  p99 %7.2f  max %7.2f ms; %d of %d over 15 ms, %d failed\n", what,
                all[all.size() / 2], all[all.size() * 99 / 100], all.back(), static_cast<int>(late), times,
                failures);
}

std::string pageOf(int messages) {
    std::string html = "<!doctype html><meta charset=utf-8><title>Page</title>"
                       "<style>[contenteditable] { white-space: pre-wrap }</style>";
    for (int i = 0; i < messages; ++i)
        html += "<div><p>Message number " + std::to_string(i) +
                "</p><div><button>Copy</button><span role=group><button aria-label=Like>x</button></span>"
                "</div></div>";
    return html + "<div><div><div><div><div role=textbox aria-multiline=true aria-label=Prompt "
                  "contenteditable=true><p>one</p><p>two <a href='#'>three</a></p><p>four</p></div>"
                  "</div></div></div></div>";
}

// A turn of the loop behind another, of which the longest is how long anybody waited.
struct Holds {
    explicit Holds(MainLoop& loop) : loop(loop), last(Clock::now()) { look(); }
    void look() {
        longest = std::max(longest, millisecondsSince(last));
        last = Clock::now();
        timer = loop.after(0ms, [this] { look(); });
    }
    MainLoop& loop;
    Clock::time_point last;
    double longest = 0;
    std::unique_ptr<Timer> timer;
};

void measureTree(PollLoop& loop, AtSpiAccessibility& port, const AXElement& app, const char* name) {
    const auto window = port.attribute(app, "AXFocusedWindow");
    const auto* frame = window.as<AXElement>();
    if (!frame) return;
    const auto measured = [&](const char* what, const auto& work) {
        const Holds holds(loop);
        const auto begun = Clock::now();
        const auto count = work();
        std::printf("%-18s %-39s %8.1f ms, longest hold %6.2f ms, %zu lines\n", name, what,
                    millisecondsSince(begun), holds.longest, count);
    };
    AXElements areas;
    for (int i = 0; i < 2; ++i) {
        measured("the page's web area", [&] {
            AccessibilityReads reads(loop, port, 1'000ms);
            areas = finished(loop, AccessibilityWalk::elementsOfRole(reads, *frame, "AXWebArea", 6'000))
                        .value_or(AXElements());
            return areas.size();
        });
        if (areas.empty()) return;
        measured("roles, children and values of all",
                 [&] { return finished(loop, readTree(loop, port, areas.front(), 6'000)).size(); });
    }
}

void measure(int messages) {
    ChromiumPage page(pageOf(messages));
    const auto connection = XConnection::open(page.screen.display());
    XPasteboard pasteboard(*connection, page.screen.display());
    AtSpiXKeys keys(*connection, pasteboard);
    PollLoop loop;
    AtSpiAccessibility port(page.bus, {.keys = &keys, .loop = &loop});
    UnhintedAccessibility unhinted(page.bus);
    page.wake(port);
    std::optional<AXElement> editor;
    comes([&] { return (editor = findIn(port, page.app(port), "AXTextArea", "Prompt")).has_value(); });
    const auto app = page.app(port);
    std::printf("\n%d messages\n", messages);
    measureTree(loop, unhinted, app, "without hints");
    measureTree(loop, port, app, "with hints");

    port.setAttribute(*editor, "AXFocused", true);
    comes([&] { return port.attribute(app, "AXFocusedUIElement").value == AXValue(*editor); });
    port.setMessagingTimeout(app, 1'000ms);
    port.setMessagingTimeout(*editor, 1'000ms);
    const auto reads = [&](const AXElement& element, const char* name) {
        return [&port, element, name] { return port.attribute(element, name).status == AXStatus::success; };
    };
    print("AXRole", 3'000, reads(*editor, "AXRole"));
    print("AXValue of three paragraphs", 3'000, reads(*editor, "AXValue"));
    print("AXSelectedTextRange", 3'000, reads(*editor, "AXSelectedTextRange"));
    print("AXFocusedUIElement", 3'000, reads(app, "AXFocusedUIElement"));
    print("a Return without a command: focus and value", 1'000, [&] {
        const auto focused = port.attribute(app, "AXFocusedUIElement");
        return focused.as<AXElement>() &&
               port.attribute(*focused.as<AXElement>(), "AXValue").status == AXStatus::success;
    });
    // As a recognition reads: the way up to the page, and the composer's elements with their parents and
    // children.
    print("the reads of a Return with a command", 100, [&] {
        auto above = *editor;
        for (int level = 0; level < 8; ++level) {
            for (const auto* name : {"AXRole", "AXSubrole"}) port.attribute(above, name);
            const auto parent = port.attribute(above, "AXParent");
            if (!parent.as<AXElement>()) break;
            above = *parent.as<AXElement>();
        }
        auto around = *editor;
        for (int level = 0; level < 4; ++level) around = *port.attribute(around, "AXParent").as<AXElement>();
        AXElements waiting{around};
        for (std::size_t i = 0; i < waiting.size() && i < 20; ++i) {
            const auto each = waiting[i];
            for (const auto* name : {"AXRole", "AXSubrole", "AXParent"}) port.attribute(each, name);
            const auto children = port.attribute(each, "AXChildren");
            if (const auto* found = children.as<AXElements>())
                waiting.insert(waiting.end(), found->begin(), found->end());
        }
        for (const auto* name : {"AXFocusedUIElement", "AXFocusedWindow"}) port.attribute(app, name);
        return port.attribute(*editor, "AXSelectedTextRange").status == AXStatus::success;
    });
    int number = 0;
    print("a write of 200 characters", 30, [&] {
        const auto text = std::to_string(++number) + std::string(200, 'x');
        return port.setAttribute(*editor, "AXValue", text) == AXStatus::success;
    });
    print("a write and its removal", 30, [&] {
        return port.setAttribute(*editor, "AXValue", std::string("/orvel note")) == AXStatus::success &&
               port.setAttribute(*editor, "AXValue", std::string()) == AXStatus::success;
    });
}

} // namespace
} // namespace orvel

int main() {
    if (const auto missing = orvel::ChromiumPage::whatIsMissing(); !missing.empty()) {
        std::printf("%s\n", missing.c_str());
        return 1;
    }
    for (const int messages : {50, 650}) orvel::measure(messages);
}
