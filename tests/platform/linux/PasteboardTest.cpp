// What every clipboard promises, over the simulated one and that of a real X server; and what the latter does
// with other programs that are slow, die or have much to give.

#include "Orvel/platform/linux/XPasteboard.h"

#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/simulated/SimulatedPasteboard.h"
#include "platform/linux/XTestDesktop.h"

#include <thread>

namespace orvel {
namespace {

using namespace std::chrono_literals;

const std::string text(PasteboardType::string);

struct SimulatedClipboard {
    bool isThere() const { return true; }
    void copyElsewhere(const PasteboardItem& item) { pasteboard.copiedElsewhere({item}); }

    SimulatedLoop loop;
    SimulatedSteps steps{loop};
    SimulatedPasteboard pasteboard{steps};
};

struct XClipboard {
    XClipboard() {
        if (!isInstalled("Xvfb")) return;
        server = std::make_unique<TestServer>();
        connection = XConnection::open(server->display());
        if (!connection) return;
        held = std::make_unique<XPasteboard>(*connection, server->display());
        other = std::make_unique<XSelectionOwner>(server->display());
    }
    bool isThere() const { return server != nullptr; }
    void copyElsewhere(const PasteboardItem& item) {
        XTargets targets;
        for (const auto& [type, bytes] : item) {
            const auto target = type == text ? "UTF8_STRING" : type;
            targets[target] = {target, 8, bytes};
        }
        ASSERT_TRUE(other->own(std::move(targets)));
    }

    std::unique_ptr<TestServer> server;
    std::unique_ptr<XConnection> connection;
    std::unique_ptr<XSelectionOwner> other;
    std::unique_ptr<XPasteboard> held;
};

Pasteboard& pasteboardOf(SimulatedClipboard& clipboard) {
    return clipboard.pasteboard;
}
Pasteboard& pasteboardOf(XClipboard& clipboard) {
    return *clipboard.held;
}

template <typename Clipboard>
class PasteboardTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!clipboard.isThere()) GTEST_SKIP() << "Xvfb is not installed.";
    }
    Pasteboard& board() { return pasteboardOf(clipboard); }
    std::vector<PasteboardItem> contents() {
        std::vector<PasteboardItem> items(board().itemCount().value_or(99));
        for (std::size_t i = 0; i < items.size(); ++i)
            for (const auto& type : board().typesOf(i)) items[i][type] = board().data(i, type).value_or("?");
        return items;
    }

    Clipboard clipboard;
};

struct SimulatedXClipboard : SimulatedClipboard {
    SimulatedXClipboard() { pasteboard.holdsOneItem = true; }
};

using Clipboards = testing::Types<SimulatedClipboard, SimulatedXClipboard, XClipboard>;
TYPED_TEST_SUITE(PasteboardTest, Clipboards);

TYPED_TEST(PasteboardTest, holdsWhatWasWrittenByWhomever) {
    const std::string large(1'000'000, 'x');
    const PasteboardItem items[] = {{{text, "words\n\n 日本"}},
                                    {{text, ""}},
                                    {{text, large}, {"text/html", "<p>" + large}},
                                    {{"application/x-other", std::string("\0\xFF\1", 3)}}};
    auto& board = this->board();
    EXPECT_EQ(board.itemCount(), 0U);
    auto count = board.changeCount();
    const auto expectChanged = [&] {
        EXPECT_GT(board.changeCount(), count);
        count = board.changeCount();
        EXPECT_EQ(board.changeCount(), count) << "looking is no change";
    };
    for (const auto& item : items) {
        this->clipboard.copyElsewhere(item);
        expectChanged();
        EXPECT_TRUE(this->contents() == std::vector{item});
        EXPECT_EQ(board.types(), board.typesOf(0));
        EXPECT_EQ(board.changeCount(), count) << "reading is no change";
        board.clearContents();
        expectChanged();
        EXPECT_EQ(board.itemCount(), 0U);
        EXPECT_TRUE(board.types().empty());
        EXPECT_TRUE(board.writeItems({item}));
        expectChanged();
        EXPECT_TRUE(this->contents() == std::vector{item});
    }
    EXPECT_TRUE(board.setString("short"));
    expectChanged();
    EXPECT_TRUE((this->contents() == std::vector<PasteboardItem>{{{text, "short"}}}));
    EXPECT_EQ(board.data(0, "text/none"), std::nullopt);
    EXPECT_EQ(board.data(1, text), std::nullopt);
    EXPECT_TRUE(board.typesOf(1).empty());

    // Several items stand there all or not at all.
    const std::vector<PasteboardItem> both{{{text, "a"}}, {{text, "b"}}};
    board.clearContents();
    const bool areTaken = board.writeItems(both);
    EXPECT_TRUE(this->contents() == (areTaken ? both : std::vector<PasteboardItem>()));
}

class XPasteboardTest : public PasteboardTest<XClipboard> {
  protected:
    /// Whether it gave nothing, and that soon enough for a person.
    bool givesNothing(const std::function<bool()>& read) {
        const auto begin = std::chrono::steady_clock::now();
        return !read() && std::chrono::steady_clock::now() - begin < 20s;
    }
    XPasteboard& board() { return *clipboard.held; }
};

// Another program finds this one's text under all usual targets, and in pieces where it is large.
TEST_F(XPasteboardTest, othersReadIt) {
    const std::string large = "日" + std::string(300'000, 'y');
    for (const auto& [words, hasLatin] : {std::pair(std::string("words"), true), std::pair(large, false)}) {
        EXPECT_TRUE(board().setString(words));
        const auto connection = XConnection::open(clipboard.server->display());
        XPasteboard reader(*connection, clipboard.server->display());
        for (const auto* target : {"text/plain;charset=utf-8", "TEXT"})
            EXPECT_EQ(reader.data(0, target), words);
        EXPECT_EQ(reader.data(0, text), words);
        EXPECT_EQ(reader.data(0, "STRING").has_value(), hasLatin);
    }
    EXPECT_FALSE(board().writeItems({{{text, "a"}}, {{text, "b"}}})) << "X has one item";
}

TEST_F(XPasteboardTest, textUnderOtherTargetsIsText) {
    clipboard.other->own({{"STRING", {"STRING", 8, "caf\xE9"}}, {"TIMESTAMP", {"INTEGER", 32, "1234"}}});
    EXPECT_EQ(board().types(), (std::vector<std::string>{"STRING", text}));
    EXPECT_EQ(board().data(0, text), "café");
    clipboard.other->own({{"text/plain;charset=utf-8", {"text/plain;charset=utf-8", 8, "日本"}}});
    EXPECT_EQ(board().data(0, text), "日本");
}

// What was read is given back as it was.
TEST_F(XPasteboardTest, theFormOfATargetIsKept) {
    const std::string numbers(8, '\1');
    clipboard.other->own({{"_NUMBERS", {"CARDINAL", 32, numbers}}});
    const auto kept = contents();
    EXPECT_TRUE(board().writeItems(kept));
    const auto connection = XConnection::open(clipboard.server->display());
    auto* server = connection->get();
    const auto window = xcb_generate_id(server);
    xcb_create_window(server, XCB_COPY_FROM_PARENT, window, connection->root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto name = connection->atom("_NUMBERS");
    xcb_convert_selection(server, window, connection->atom("CLIPBOARD"), name, name, XCB_CURRENT_TIME);
    bool isAnswered = false;
    connection->listen([&](const xcb_generic_event_t& event) {
        isAnswered |= (event.response_type & 0x7F) == XCB_SELECTION_NOTIFY;
    });
    const auto end = std::chrono::steady_clock::now() + 20s;
    do connection->dispatch();
    while (!isAnswered && connection->waitUntil(end));
    const auto value = connection->property(window, name, 100);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type, static_cast<xcb_atom_t>(XCB_ATOM_CARDINAL));
    EXPECT_EQ(value->format, 32);
    EXPECT_EQ(value->bytes, numbers);
}

/// A program that owns the clipboard and answers as a test wants.
struct OddOwner {
    enum class Way { silent, refusing, stopsMidway, diesMidway, tooLarge };

    OddOwner(const std::string& display, Way way) : way(way), connection(XConnection::open(display)) {
        window = xcb_generate_id(connection->get());
        xcb_create_window(connection->get(), XCB_COPY_FROM_PARENT, window, connection->root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(connection->get(), window, connection->atom("CLIPBOARD"), XCB_CURRENT_TIME);
        connection->listen([this](const xcb_generic_event_t& event) { take(event); });
        connection->synchronise();
        thread = std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested() && connection) {
                connection->dispatch();
                if (isDying)
                    connection.reset();
                else
                    connection->waitUntil(std::chrono::steady_clock::now() + 5ms);
            }
        });
    }

    void take(const xcb_generic_event_t& event) {
        const auto type = event.response_type & 0x7F;
        if (type == XCB_PROPERTY_NOTIFY && way == Way::diesMidway) {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            if (change.state == XCB_PROPERTY_DELETE) isDying = true;
        }
        if (type != XCB_SELECTION_REQUEST || way == Way::silent) return;
        const auto& request = reinterpret_cast<const xcb_selection_request_event_t&>(event);
        const bool isTargets = request.target == connection->atom("TARGETS");
        const auto utf8 = connection->atom("UTF8_STRING");
        const std::uint32_t size = way == Way::tooLarge ? 0x7FFFFFFF : 100'000;
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        auto* server = connection->get();
        xcb_change_window_attributes(server, request.requestor, XCB_CW_EVENT_MASK, &events);
        if (isTargets)
            xcb_change_property(server, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                                XCB_ATOM_ATOM, 32, 1, &utf8);
        else
            xcb_change_property(server, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                                connection->atom("INCR"), 32, 1, &size);
        xcb_selection_notify_event_t notice{};
        notice.response_type = XCB_SELECTION_NOTIFY;
        notice.requestor = request.requestor;
        notice.selection = request.selection;
        notice.target = request.target;
        const bool isRefused = way == Way::refusing && !isTargets;
        notice.property = isRefused ? static_cast<xcb_atom_t>(XCB_ATOM_NONE) : request.property;
        xcb_send_event(server, 0, request.requestor, 0, reinterpret_cast<const char*>(&notice));
        xcb_flush(server);
    }

    Way way;
    std::unique_ptr<XConnection> connection;
    xcb_window_t window = 0;
    bool isDying = false;
    std::jthread thread;
};

TEST_F(XPasteboardTest, oddOwnersCostABoundedTimeAndHarmNothing) {
    using Way = OddOwner::Way;
    for (const auto way : {Way::silent, Way::refusing, Way::stopsMidway, Way::diesMidway, Way::tooLarge}) {
        SCOPED_TRACE(static_cast<int>(way));
        {
            const OddOwner odd(clipboard.server->display(), way);
            EXPECT_EQ(board().itemCount().has_value(), way != Way::silent);
            EXPECT_TRUE(givesNothing([&] { return board().data(0, text).has_value(); }));
        }
        const PasteboardItem next{{text, "next"}};
        clipboard.copyElsewhere(next);
        EXPECT_TRUE(contents() == std::vector{next});
    }
}

TEST_F(XPasteboardTest, noServerNoClipboard) {
    clipboard.server->end();
    EXPECT_TRUE(givesNothing([&] { return board().setString("words"); }));
    EXPECT_EQ(board().itemCount(), std::nullopt);
    EXPECT_EQ(board().changeCount(), board().changeCount());
}

} // namespace
} // namespace orvel
