// A browser's page as the agents' windows are made: what was written for one comes out of a real one.

#include "ChromiumPage.h"
#include "XTestDesktop.h"

#include "Orvel/platform/linux/AtSpiXKeys.h"
#include "Orvel/platform/linux/XConnection.h"
#include "Orvel/platform/linux/XKeys.h"
#include "Orvel/platform/linux/XPasteboard.h"
#include "Orvel/platform/posix/PollLoop.h"

#include <chrono>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <xcb/xtest.h>

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

class ChromiumTest : public testing::Test {
  protected:
    void open(const std::string& html) {
        if (const auto missing = ChromiumPage::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        world = std::make_unique<ChromiumPage>(html);
        connection = XConnection::open(world->screen.display());
        ASSERT_TRUE(connection);
        pasteboard = std::make_unique<XPasteboard>(*connection, world->screen.display());
        keys = std::make_unique<AtSpiXKeys>(*connection, *pasteboard);
        accessibility = std::make_unique<AtSpiAccessibility>(
            world->bus, AtSpiSurroundings{.keys = keys.get(),
                                          .loop = &loop,
                                          .hasWindows = xWindowOwners(world->screen.display())});
    }

    AXElement app() { return world->app(*accessibility); }
    AXReading read(const AXElement& element, std::string_view name) {
        return accessibility->attribute(element, name);
    }
    std::string text(const AXElement& element, std::string_view name) {
        return textOf(*accessibility, element, name);
    }
    std::optional<AXElement> find(const AXElement& root, std::string_view role, std::string_view label = {}) {
        return findIn(*accessibility, root, role, label);
    }
    /// The editor with this label, once it is there.
    AXElement editor(std::string_view label) {
        std::optional<AXElement> found;
        world->wake(*accessibility);
        comes([&] { return (found = find(app(), "AXTextArea", label)).has_value(); });
        return found.value();
    }
    AXStatus write(const AXElement& element, const std::string& text) {
        return accessibility->setAttribute(element, "AXValue", text);
    }

    PollLoop loop;
    std::unique_ptr<ChromiumPage> world;
    std::unique_ptr<XConnection> connection;
    std::unique_ptr<XPasteboard> pasteboard;
    std::unique_ptr<AtSpiXKeys> keys;
    std::unique_ptr<AtSpiAccessibility> accessibility;
};

TEST_F(ChromiumTest, aPageIsReadAsItWasWritten) {
    open(page);
    if (IsSkipped()) return;
    const std::optional editor = this->editor("Prompt");
    const auto area = find(app(), "AXWebArea");
    EXPECT_EQ(read(*area, "AXURL").as<AXURL>()->text, world->address);
    EXPECT_EQ(text(*editor, "AXValue"), "one 😀\n\n  see this end\nitem\n");
    EXPECT_TRUE(comes([&] {
        return read(*editor, "AXSelectedTextRange").value == AXValue(AXRange{11, 9});
    })) << read(*editor, "AXSelectedTextRange").as<AXRange>()->location
        << " " << read(*editor, "AXSelectedTextRange").as<AXRange>()->length;
    EXPECT_EQ(read(*editor, "AXDOMClassList").as<std::vector<std::string>>()->at(0), "ProseMirror");
    EXPECT_TRUE(accessibility->isSettable(*editor, "AXValue").isSettable);
    EXPECT_TRUE(comes([&] { return read(app(), "AXFocusedUIElement").value == AXValue(*editor); }));
    EXPECT_TRUE(read(app(), "AXFocusedWindow").value == read(*editor, "AXWindow").value);
    EXPECT_EQ(accessibility->process(*editor), world->browser->id());

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
    world->browser->signal(SIGSTOP);
    EXPECT_EQ(read(*editor, "AXValue").status, AXStatus::cannotComplete);
    world->browser->signal(SIGCONT);
    EXPECT_TRUE(comes([&] { return read(*editor, "AXRole").status == AXStatus::success; }));
}

TEST_F(ChromiumTest, hintsGiveWhatReadsGive) {
    std::string html = page;
    for (int i = 0; i < 60; ++i) {
        html += "<div><p>Message <b>" + std::to_string(i) +
                "</b></p><span role=group><button aria-haspopup=menu>M</button></span><input type=checkbox>"
                "<select><option>a</select><div role=radiogroup>x</div></div>";
        if (i % 4 == 0) html += "<input type=search value=a>";
    }
    html += "<iframe srcdoc='<textarea aria-label=Inner>in</textarea>'></iframe>";
    open(html);
    if (IsSkipped()) return;
    editor("Inner");
    UnhintedAccessibility plain(world->bus);
    const auto area = *find(app(), "AXWebArea");
    // The page may still be growing.
    std::vector<std::string> expected;
    ASSERT_TRUE(comes([&] {
        const auto earlier = std::exchange(expected, finished(loop, readTree(loop, plain, area, 4'000)));
        return earlier == expected;
    }));
    ASSERT_GT(expected.size(), 500U);
    EXPECT_EQ(finished(loop, readTree(loop, *accessibility, area, 4'000)), expected);
    const auto frame = *read(app(), "AXFocusedWindow").as<AXElement>();
    for (const std::string role : {"AXWebArea", "AXTextArea"}) {
        const auto searched = finished(loop, accessibility->search(frame, {role}, 4'000));
        ASSERT_TRUE(searched) << role;
        EXPECT_GT(searched->size(), 1U);
        EXPECT_EQ(finished(loop, readRole(loop, *accessibility, frame, role, 4'000)),
                  finished(loop, readRole(loop, plain, frame, role, 4'000)))
            << role;
    }
}

constexpr const char* editors = R"html(<!doctype html><meta charset=utf-8><title>Editors</title>
<style>[contenteditable] { white-space: pre-wrap }</style>
<div role=textbox aria-multiline=true aria-label=Rich contenteditable=true><p>draft</p></div>
<textarea aria-label=Plain>draft</textarea><textarea aria-label=Other>kept</textarea>
<textarea aria-label=Shy onfocus="document.querySelector('[aria-label=Other]').focus()"></textarea>
<textarea aria-label=Jumping onkeydown="document.querySelector('[aria-label=Sink]').focus()"></textarea>
<textarea aria-label=Sink></textarea>)html";

TEST_F(ChromiumTest, whatIsWrittenStandsThereAndTheClipboardIsAsBefore) {
    open(editors);
    if (IsSkipped()) return;
    const PasteboardItem original{{std::string(PasteboardType::string), "before"},
                                  {"text/html", "<i>before</i>"}};
    ASSERT_TRUE(pasteboard->writeItems({original}));
    std::string large;
    while (large.size() < 20'000) large += "A line of a long message, which has several.\n";
    large.pop_back();
    const std::string texts[] = {
        "one", "two\n\nlines", "  leading,\ttabs & <i>marks</i>", "😀 語", "", "日本語を入力\n😀", "",
        large, "short again"};
    for (const std::string label : {"Rich", "Plain"}) {
        const auto box = editor(label);
        accessibility->setMessagingTimeout(box, 10s);
        for (const auto& text : texts) {
            if (label == "Rich" && text.find("\n\n") != text.npos) continue;
            EXPECT_EQ(write(box, text), AXStatus::success) << label << ": " << text.substr(0, 40);
            EXPECT_EQ(this->text(box, "AXValue"), text) << label;
            EXPECT_EQ(pasteboard->data(0, "text/html"), "<i>before</i>");
            EXPECT_EQ(pasteboard->data(0, std::string(PasteboardType::string)), "before");
        }
    }
    EXPECT_EQ(text(editor("Other"), "AXValue"), "kept");

    // An editor that makes something else of it, as a plain one does with empty lines.
    const auto rich = editor("Rich");
    accessibility->setMessagingTimeout(rich, 500ms);
    EXPECT_EQ(write(rich, "two\n\nlines"), AXStatus::mayHaveHappened);
    EXPECT_EQ(text(rich, "AXValue"), "two\nlines");
    EXPECT_EQ(pasteboard->data(0, std::string(PasteboardType::string)), "before");
}

// What a person holds doesn't change the keys.
TEST_F(ChromiumTest, aHeldShiftChangesNothing) {
    open(editors);
    if (IsSkipped()) return;
    const auto box = editor("Plain");
    constexpr std::int64_t leftShift = 56;
    const auto shift = XKeys(*connection).stroke(leftShift, 0).value().keycode;
    const auto fake = [&](std::uint8_t type) {
        xcb_test_fake_input(connection->get(), type, shift, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
        connection->synchronise();
    };
    fake(XCB_KEY_PRESS);
    EXPECT_EQ(write(box, "written\n"), AXStatus::success);
    EXPECT_EQ(write(box, ""), AXStatus::success);
    fake(XCB_KEY_RELEASE);
    EXPECT_EQ(text(box, "AXValue"), "");
}

// Nothing was pressed, whether the program said so or was too slow.
bool isRefused(AXStatus status) {
    return status == AXStatus::failure || status == AXStatus::cannotComplete;
}

TEST_F(ChromiumTest, nothingIsPressedWhereTheEditorCanNotHaveTheKeys) {
    open(editors);
    if (IsSkipped()) return;
    const auto box = editor("Plain");
    EXPECT_EQ(write(box, "first"), AXStatus::success);
    accessibility->setMessagingTimeout(box, 150ms);
    {
        TestApplication other(world->screen.display());
        other.show();
        ASSERT_TRUE(comes([&] { // The window manager has a say in it.
            other.focus();
            const auto focus = other.connection->reply<xcb_get_input_focus_reply_t>(
                xcb_get_input_focus(other.connection->get()));
            return focus && focus->focus == other.window;
        }));
        EXPECT_TRUE(isRefused(write(box, "elsewhere")));
        EXPECT_TRUE(isRefused(write(box, "")));
        other.connection->dispatch();
        EXPECT_EQ(other.seen, "");
    }
    // A page that lets an editor have the focus for no time, and one that takes it away behind the first key.
    EXPECT_TRUE(isRefused(write(editor("Shy"), "elsewhere")));
    const auto jumping = editor("Jumping");
    accessibility->setMessagingTimeout(jumping, 300ms);
    EXPECT_EQ(write(jumping, "somewhere"), AXStatus::mayHaveHappened);
    EXPECT_EQ(text(box, "AXValue"), "first");
    EXPECT_EQ(text(editor("Other"), "AXValue"), "kept");
    EXPECT_EQ(text(editor("Rich"), "AXValue"), "draft");
}

TEST_F(ChromiumTest, whatIsNotSeenMayHaveHappened) {
    open(editors);
    if (IsSkipped()) return;
    const auto box = editor("Plain");
    ASSERT_EQ(write(box, "first"), AXStatus::success);
    accessibility->setMessagingTimeout(box, 200ms);
    const auto renderers = world->renderers();
    ASSERT_FALSE(renderers.empty());
    for (const auto each : renderers) kill(each, SIGSTOP);
    EXPECT_EQ(write(box, "second"), AXStatus::mayHaveHappened) << "its page hangs";
    for (const auto each : renderers) kill(each, SIGCONT);
    EXPECT_TRUE(comes([&] { return text(box, "AXValue") != "first"; })) << "the key was not lost";

    world->browser->signal(SIGSTOP);
    EXPECT_EQ(write(box, "third"), AXStatus::cannotComplete) << "nothing can be asked of it";
    world->browser->signal(SIGKILL);
    EXPECT_TRUE(comes([&] { return write(box, "fourth") == AXStatus::invalidElement; }));
}

} // namespace
} // namespace orvel
