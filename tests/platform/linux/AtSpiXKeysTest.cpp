// The keys of a write: only ever to the process's window, and with the clipboard given back.

#include "XTestDesktop.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/platform/linux/AtSpiXKeys.h"
#include "Orvel/platform/linux/XPasteboard.h"

namespace orvel {
namespace {

constexpr ProcessID its = 4'711, another = 4'712;

class AtSpiXKeysTest : public XDesktopTest {
  protected:
    void SetUp() override {
        XDesktopTest::SetUp();
        if (IsSkipped()) return;
        other->claim(its, "Agent");
        other->connection->synchronise();
        connection = XConnection::open(server->display());
        pasteboard = std::make_unique<XPasteboard>(*connection, server->display());
        keys = std::make_unique<AtSpiXKeys>(*connection, *pasteboard);
    }
    void TearDown() override {
        keys.reset();
        pasteboard.reset();
    }
    std::optional<std::string> onClipboard(std::string_view type = PasteboardType::string) {
        return pasteboard->data(0, std::string(type));
    }

    std::unique_ptr<XConnection> connection;
    std::unique_ptr<XPasteboard> pasteboard;
    std::unique_ptr<AtSpiXKeys> keys;
};

TEST_F(AtSpiXKeysTest, pressesOnlyInTheWindowOfTheProcess) {
    ASSERT_TRUE(pasteboard->setString("before"));
    EXPECT_FALSE(keys->erase(another));
    EXPECT_FALSE(keys->paste("text", another));
    keys->restoreClipboard();
    EXPECT_EQ(onClipboard(), "before");
    ASSERT_TRUE(settle());
    EXPECT_EQ(other->seen, "");

    press(56); // Shift, which a person holds.
    EXPECT_TRUE(keys->erase(its));
    ASSERT_TRUE(runUntil([&] { return other->seen.ends_with("-51 "); }));
    EXPECT_EQ(other->seen, "56 0 -0 51 -51 ");
    EXPECT_EQ(other->lastState, 0);
    EXPECT_TRUE(keys->paste("text <&>\n\nend", its));
    ASSERT_TRUE(runUntil([&] { return other->seen.ends_with("-9 "); }));
    EXPECT_EQ(other->lastState, XCB_MOD_MASK_CONTROL);
    release(56);
    EXPECT_EQ(onClipboard(), "text <&>\n\nend");
    EXPECT_EQ(onClipboard("text/html"),
              "<meta charset=\"utf-8\"><p data-pm-slice=\"1 1 []\">text &lt;&amp;&gt;</p><p></p><p>end</p>");
    keys->restoreClipboard();
    EXPECT_EQ(onClipboard(), "before");
    EXPECT_EQ(onClipboard("text/html"), std::nullopt);

    xcb_set_input_focus(connection->get(), XCB_INPUT_FOCUS_PARENT, XCB_INPUT_FOCUS_POINTER_ROOT,
                        XCB_CURRENT_TIME);
    connection->synchronise();
    EXPECT_FALSE(keys->erase(its)) << "no window has the focus";
}

TEST_F(AtSpiXKeysTest, aNewerClipboardIsLeftAndAnUnreadableOneIsNotTaken) {
    const auto display = server->display();
    const auto foreign = XConnection::open(display);
    XPasteboard theirs(*foreign, display);
    ASSERT_TRUE(
        theirs.writeItems({{{std::string(PasteboardType::string), "old"}, {"image/png", "picture"}}}));
    EXPECT_TRUE(keys->paste("text", its));
    keys->restoreClipboard();
    EXPECT_EQ(onClipboard("image/png"), "picture") << "by this program by now";

    EXPECT_TRUE(keys->paste("text", its));
    ASSERT_TRUE(theirs.setString("newer"));
    keys->restoreClipboard();
    EXPECT_EQ(onClipboard(), "newer");

    // An owner that promises more than it gives.
    ASSERT_TRUE(theirs.writeItems({{{std::string(PasteboardType::string), "old"},
                                    {"image/png", std::string(AtSpiXKeys::maximumBytes + 1, 'x')}}}));
    ASSERT_TRUE(settle());
    other->seen.clear();
    EXPECT_FALSE(keys->paste("text", its));
    keys->restoreClipboard();
    EXPECT_EQ(theirs.data(0, std::string(PasteboardType::string)), "old");
    ASSERT_TRUE(settle());
    EXPECT_EQ(other->seen, "");
}

} // namespace
} // namespace orvel
