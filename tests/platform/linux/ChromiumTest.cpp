// A browser's page as the agents' windows are made: what was written for one comes out of a real one.

#include "PrivateBus.h"

#include "Orvel/platform/linux/AtSpiAccessibility.h"

#include <chrono>
#include <deque>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* page = R"(<!doctype html><meta charset=utf-8><title>Page</title>
<style>.hint::before { content: attr(data-placeholder); float: left; height: 0 } .ProseMirror { white-space: pre-wrap }</style>
<div class=composer><div role=textbox aria-multiline=true aria-label=Prompt class="ProseMirror wide" contenteditable=true
><p>one 😀</p><p><br></p><p id=third>  see <a href="#x">this</a> end</p><ul><li><p>item<br><br></p></li></ul></div>
<button aria-label=Send onclick="document.title='Sent'">&#8593;</button><button aria-haspopup=menu>Model</button></div>
<div role=textbox aria-multiline=true aria-label=Empty contenteditable=true><p class=hint data-placeholder="Ask away"><br></p></div>
<textarea aria-label=Plain>a&#10;b&#10;</textarea>
<script>
addEventListener('load', () => { document.querySelector('.ProseMirror').focus();
  getSelection().setBaseAndExtent(document.querySelector('#third').firstChild, 3, document.querySelector('#third').lastChild, 2) })
</script>)";

// A screen of the test's own with a window manager, for as long as it lives.
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

    std::map<std::string, std::string> environment;

  private:
    std::unique_ptr<OwnChild> server, manager;
};

class ChromiumTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = PrivateBus::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        for (const auto* program : {"/usr/bin/chromium", "/usr/bin/Xvfb", "/usr/bin/openbox"})
            if (access(program, X_OK) != 0) GTEST_SKIP() << "This machine has no " << program << ".";
        session = std::make_unique<PrivateBus>();
        screen = std::make_unique<Screen>(*session);
        const auto file = session->folder() / "page.html";
        std::ofstream(file) << page;
        address = "file://" + file.string();
        browser = std::make_unique<OwnChild>(
            std::vector<std::string>{"/usr/bin/chromium", "--no-sandbox", "--disable-gpu", "--no-first-run",
                                     "--test-type", "--disable-background-networking",
                                     "--disable-component-update", "--disable-sync", "--password-store=basic",
                                     "--user-data-dir=" + (session->folder() / "profile").string(),
                                     "--app=" + address},
            screen->environment);
        bus = std::make_unique<AccessibilityBus>(session->address());
        accessibility = std::make_unique<AtSpiAccessibility>(*bus);
    }

    void TearDown() override {
        if (browser) browser->end();
        browser.reset();
        screen.reset();
    }

    AXElement app() { return accessibility->application(browser->id()); }
    AXReading read(const AXElement& element, std::string_view name) {
        return accessibility->attribute(element, name);
    }
    std::string text(const AXElement& element, std::string_view name) {
        const auto reading = read(element, name);
        const auto* found = reading.as<std::string>();
        return found ? *found : "(" + std::to_string(static_cast<int>(reading.status)) + ")";
    }

    // The first element below another with this role and, unless it is empty, this description or title.
    std::optional<AXElement> find(const AXElement& root, std::string_view role, std::string_view label = {}) {
        std::deque<AXElement> waiting{root};
        for (int met = 0; !waiting.empty() && met < 4'000; ++met) {
            const auto element = waiting.front();
            waiting.pop_front();
            if (text(element, "AXRole") == role &&
                (label.empty() || text(element, "AXDescription") == label ||
                 text(element, "AXTitle") == label))
                return element;
            const auto children = read(element, "AXChildren");
            if (const auto* found = children.as<AXElements>())
                waiting.insert(waiting.end(), found->begin(), found->end());
        }
        return std::nullopt;
    }

    std::unique_ptr<PrivateBus> session;
    std::unique_ptr<Screen> screen;
    std::string address;
    std::unique_ptr<OwnChild> browser;
    std::unique_ptr<AccessibilityBus> bus;
    std::unique_ptr<AtSpiAccessibility> accessibility;
};

TEST_F(ChromiumTest, aPageIsReadAsItWasWritten) {
    ASSERT_TRUE(comes([&] {
        return accessibility->setAttribute(app(), "AXManualAccessibility", true) == AXStatus::success;
    }));
    std::optional<AXElement> editor;
    ASSERT_TRUE(comes([&] { return (editor = find(app(), "AXTextArea", "Prompt")).has_value(); }));
    const auto area = find(app(), "AXWebArea");
    EXPECT_EQ(read(*area, "AXURL").as<AXURL>()->text, address);
    EXPECT_EQ(text(*editor, "AXValue"), "one 😀\n\n  see this end\nitem\n");
    EXPECT_TRUE(comes([&] {
        return read(*editor, "AXSelectedTextRange").value == AXValue(AXRange{11, 9});
    })) << read(*editor, "AXSelectedTextRange").as<AXRange>()->location
        << " " << read(*editor, "AXSelectedTextRange").as<AXRange>()->length;
    EXPECT_EQ(read(*editor, "AXDOMClassList").as<std::vector<std::string>>()->at(0), "ProseMirror");
    EXPECT_TRUE(accessibility->isSettable(*editor, "AXValue").isSettable);
    EXPECT_TRUE(comes([&] { return read(app(), "AXFocusedUIElement").value == AXValue(*editor); }));
    EXPECT_TRUE(read(app(), "AXFocusedWindow").value == read(*editor, "AXWindow").value);
    EXPECT_EQ(accessibility->process(*editor), browser->id());

    const auto empty = find(*area, "AXTextArea", "Empty");
    EXPECT_EQ(text(*empty, "AXValue"), "");
    EXPECT_EQ(text(*empty, "AXPlaceholderValue"), "Ask away\n");
    EXPECT_EQ(text(*find(*area, "AXTextArea", "Plain"), "AXValue"), "a\nb\n");
    EXPECT_TRUE(find(*area, "AXPopUpButton", "Model"));

    const auto send = find(*area, "AXButton", "Send");
    const auto corner = *read(*send, "AXPosition").as<AXPoint>();
    EXPECT_TRUE(accessibility->elementAtPosition({corner.x + 3, corner.y + 3}).value == AXValue(*send));
    EXPECT_EQ(accessibility->performAction(*send, "AXPress"), AXStatus::success);
    EXPECT_TRUE(
        comes([&] { return text(*area, "AXTitle") == "Sent" || text(*area, "AXDescription") == "Sent"; }));

    accessibility->setMessagingTimeout(*editor, 15ms);
    browser->signal(SIGSTOP);
    EXPECT_EQ(read(*editor, "AXValue").status, AXStatus::cannotComplete);
    browser->signal(SIGCONT);
    EXPECT_TRUE(comes([&] { return read(*editor, "AXRole").status == AXStatus::success; }));
}

} // namespace
} // namespace orvel
