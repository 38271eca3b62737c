#pragma once
// A browser with one page on a screen of the test's own, as the agents' windows are made.

#include "AtSpiTrees.h"
#include "PrivateBus.h"

#include "Orvel/platform/linux/AtSpiAccessibility.h"

#include <chrono>
#include <csignal>
#include <deque>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace orvel {

/// A screen with a window manager, for as long as it lives.
class Screen {
  public:
    explicit Screen(const PrivateBus& bus) : environment(bus.environment()) {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0) return;
        server = std::make_unique<OwnChild>(std::vector<std::string>{"/usr/bin/Xvfb", "-displayfd",
                                                                     std::to_string(ends[1]), "-screen", "0",
                                                                     "1200x900x24", "-nolisten", "tcp"},
                                            environment);
        close(ends[1]);
        std::string number;
        for (char each = 0; read(ends[0], &each, 1) == 1 && each != '\n';) number += each;
        close(ends[0]);
        environment["DISPLAY"] = ":" + number;
        manager = std::make_unique<OwnChild>(std::vector<std::string>{"/usr/bin/openbox"}, environment);
    }

    std::string display() const { return environment.at("DISPLAY"); }

    std::map<std::string, std::string> environment;

  private:
    std::unique_ptr<OwnChild> server, manager;
};

class ChromiumPage {
  public:
    /// Why there can be none on this machine; empty if there can.
    static std::string whatIsMissing() {
        for (const auto* program : {"/usr/bin/chromium", "/usr/bin/Xvfb", "/usr/bin/openbox"})
            if (::access(program, X_OK) != 0) return std::string("This machine has no ") + program + ".";
        return PrivateBus::whatIsMissing();
    }

    explicit ChromiumPage(const std::string& html) : screen(session) {
        const auto file = session.folder() / "page.html";
        std::ofstream(file) << html;
        address = "file://" + file.string();
        browser = std::make_unique<OwnChild>(
            std::vector<std::string>{"/usr/bin/chromium", "--no-sandbox", "--disable-gpu", "--no-first-run",
                                     "--test-type", "--disable-background-networking",
                                     "--disable-component-update", "--disable-sync", "--password-store=basic",
                                     "--user-data-dir=" + (session.folder() / "profile").string(),
                                     "--app=" + address},
            screen.environment);
    }
    ~ChromiumPage() { browser->end(); }
    ChromiumPage(const ChromiumPage&) = delete;
    ChromiumPage& operator=(const ChromiumPage&) = delete;

    /// Has the page's elements made; false if that takes too long.
    bool wake(AtSpiAccessibility& port) {
        return comes(
            [&] { return port.setAttribute(app(port), "AXManualAccessibility", true) == AXStatus::success; });
    }

    AXElement app(AtSpiAccessibility& port) const { return port.application(browser->id()); }

    /// The processes that draw pages.
    std::vector<pid_t> renderers() const {
        std::vector<pid_t> found;
        std::ifstream children("/proc/" + std::to_string(browser->id()) + "/task/" +
                               std::to_string(browser->id()) + "/children");
        std::vector<pid_t> all;
        for (pid_t each = 0; children >> each;) all.push_back(each);
        for (std::size_t i = 0; i < all.size(); ++i) {
            std::ifstream line("/proc/" + std::to_string(all[i]) + "/cmdline");
            const std::string words((std::istreambuf_iterator<char>(line)), std::istreambuf_iterator<char>());
            if (words.find("--type=renderer") != words.npos) found.push_back(all[i]);
            std::ifstream below("/proc/" + std::to_string(all[i]) + "/task/" + std::to_string(all[i]) +
                                "/children");
            for (pid_t each = 0; below >> each;) all.push_back(each);
        }
        return found;
    }

    PrivateBus session;
    Screen screen;
    std::string address;
    std::unique_ptr<OwnChild> browser;
    AccessibilityBus bus{session.address()};
};

/// What a string attribute holds, or the number of its status in brackets.
inline std::string textOf(AtSpiAccessibility& port, const AXElement& element, std::string_view name) {
    const auto reading = port.attribute(element, name);
    const auto* found = reading.as<std::string>();
    return found ? *found : "(" + std::to_string(static_cast<int>(reading.status)) + ")";
}

/// The first element below another with this role and, unless it is empty, this description or title.
inline std::optional<AXElement> findIn(AtSpiAccessibility& port, const AXElement& root, std::string_view role,
                                       std::string_view label = {}) {
    std::deque<AXElement> waiting{root};
    for (int met = 0; !waiting.empty() && met < 6'000; ++met) {
        const auto element = waiting.front();
        waiting.pop_front();
        if (textOf(port, element, "AXRole") == role &&
            (label.empty() || textOf(port, element, "AXDescription") == label ||
             textOf(port, element, "AXTitle") == label))
            return element;
        const auto children = port.attribute(element, "AXChildren");
        if (const auto* found = children.as<AXElements>())
            waiting.insert(waiting.end(), found->begin(), found->end());
    }
    return std::nullopt;
}

} // namespace orvel
