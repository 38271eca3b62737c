// Which input sources the decision on a Return knows by the names that they have here.

#include "StandInIBus.h"
#include "XTestDesktop.h"

#include "Orvel/platform/linux/IBusDaemon.h"
#include "Orvel/platform/linux/IBusInputSources.h"
#include "Orvel/platform/linux/IBusVocabulary.h"
#include "Orvel/platform/linux/XKeyboardLayout.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/japanese/JapaneseLineBreakSource.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace orvel {
namespace {

using Source = std::optional<InputSource>;

/// What the decision makes of a source.
std::string meaning(const Source& source) {
    if (!source) return "unread";
    if (KnownASCIISource::matches(source->id, source->type, source->isASCIICapable.value_or(false)))
        return "never composes";
    const bool isJapanese = JapaneseLineBreakSource::matches(
        source->id.value_or(""), source->mode.value_or(""), source->type.value_or(""));
    std::string words = isJapanese                       ? "Japanese"
                        : source->isASCIICapable.value() ? "uncertain, ASCII"
                                                         : "uncertain";
    return words + (source->tellsComposition ? ", tells" : "");
}

TEST(IBusVocabulary, namesWhatIsKnownAsOnMacOSAndNothingElse) {
    struct Case {
        std::string_view engine;
        std::optional<std::string> mode;
        std::string_view meaning, id;
    };
    const Case cases[] = {
        {"xkb:us::eng", {}, "never composes", "com.apple.keylayout.US"},
        {"xkb:us::eng", "InputMode.Hiragana", "never composes", "com.apple.keylayout.US"},
        {"xkb:us:intl:eng", {}, "uncertain", "xkb.us.intl"},
        {"xkb:de::deu", {}, "uncertain, ASCII", "xkb.de"},
        {"xkb:jp::jpn", {}, "uncertain, ASCII", "xkb.jp"},
        {"xkb:ru::rus", {}, "uncertain", "xkb.ru"},
        {"xkb:us", {}, "uncertain", "xkb:us"},
        {"xkb:::", {}, "uncertain", "xkb:::"},
        {"", {}, "uncertain", ""},
        {"mozc-jp", {}, "uncertain", "mozc-jp"},
        {"mozc-jp", "InputMode.Direct", "never composes", "com.apple.inputmethod.Kotoeri.RomajiTyping.Roman"},
        {"mozc-jp", "InputMode.Hiragana", "Japanese, tells", "com.google.inputmethod.Japanese.base"},
        {"mozc-jp", "InputMode.Latin", "uncertain, ASCII, tells", "com.google.inputmethod.Japanese.Roman"},
        {"mozc-jp", "InputMode.WideLatin", "uncertain, tells",
         "com.google.inputmethod.Japanese.FullWidthRoman"},
        {"mozc-jp", "InputMode.Katakana", "uncertain, tells", "com.google.inputmethod.Japanese.Katakana"},
        {"mozc-jp", "InputMode.Another", "uncertain", "mozc-jp"},
        {"anthy", "InputMode.Direct", "uncertain", "anthy"},
        {"mozcish", "InputMode.Direct", "uncertain", "mozcish"},
    };
    for (const auto& [engine, mode, expected, id] : cases) {
        const auto source = sourceOf(engine, mode);
        EXPECT_EQ(meaning(source), expected) << engine << " " << mode.value_or("");
        EXPECT_EQ(source.id, id) << engine << " " << mode.value_or("");
    }
}

class XKeyboardLayoutTest : public XDesktopTest {
  protected:
    void announce(const char* property, xcb_atom_t type, std::uint8_t format, std::string_view value) {
        xcb_change_property(person->get(), XCB_PROP_MODE_REPLACE, person->root(), person->atom(property),
                            type, format, static_cast<std::uint32_t>(value.size()) / (format / 8),
                            value.data());
        person->synchronise();
    }
    void setRules(const std::string& layout, const std::string& variant = {}) {
        const std::string end(1, '\0');
        announce("_XKB_RULES_NAMES", XCB_ATOM_STRING, 8,
                 "evdev" + end + "pc105" + end + layout + end + variant + end + end);
    }
    static std::string folderForTest() {
        auto pattern = (std::filesystem::temp_directory_path() / "orvel-ibus-XXXXXX").string();
        return mkdtemp(pattern.data());
    }
};

TEST_F(XKeyboardLayoutTest, countsWhereNoInputMethodIs) {
    XKeyboardLayout layout(server->display(), {"", "ibus", "@im=none"});
    // Nowhere is a daemon; then one is, of whom nothing is known.
    const auto folder = folderForTest();
    auto ibus = std::make_unique<IBusDaemon>(IBusPlaces{});
    const auto current = [&] { return IBusInputSources(*ibus, layout).current(); };
    const auto layoutID = [&] { return IBusInputSources(*ibus, layout).currentLayoutID(); };
    const auto becomes = [&](const std::string& expected) {
        return runUntil([&] { return meaning(current()) == expected; });
    };
    setRules("us");
    ASSERT_TRUE(runUntil([&] { return ibus->input().presence == IBusDaemon::Presence::absent; }));
    EXPECT_TRUE(becomes("never composes"));
    EXPECT_EQ(layoutID(), "com.apple.keylayout.US");
    setRules("us", "intl");
    EXPECT_TRUE(becomes("uncertain"));
    for (const auto* unclear : {"us,ru", ""}) {
        setRules(unclear);
        EXPECT_TRUE(becomes("unread")) << unclear;
        EXPECT_EQ(layoutID(), std::nullopt);
        setRules("us");
        EXPECT_TRUE(becomes("never composes"));
    }

    // Another input method comes, and ends.
    const auto name = person->atom("@server=other");
    const auto own = [&](xcb_window_t window) {
        xcb_set_selection_owner(other->get(), window, name, XCB_CURRENT_TIME);
        other->connection->synchronise();
        announce("XIM_SERVERS", XCB_ATOM_ATOM, 32, {reinterpret_cast<const char*>(&name), sizeof name});
    };
    own(other->window);
    EXPECT_TRUE(becomes("unread"));
    EXPECT_EQ(layoutID(), "com.apple.keylayout.US");
    own(XCB_WINDOW_NONE);
    EXPECT_TRUE(becomes("never composes")) << "it is still listed";
    XKeyboardLayout named(server->display(), {"fcitx", "", ""});
    EXPECT_EQ(meaning(IBusInputSources(*ibus, named).current()), "unread");

    {
        StandInIBus standIn(folder);
        {
            const auto held = standIn.hold();
            standIn.strange = {{"GlobalEngine", [](auto*) { return -1; }}};
        }
        ibus = std::make_unique<IBusDaemon>(IBusPlaces{.address = standIn.address(), .files = {}});
        EXPECT_EQ(meaning(current()), "unread") << "a daemon that was not met yet";
        ASSERT_TRUE(runUntil([&] { return ibus->input().presence == IBusDaemon::Presence::connected; }));
        EXPECT_EQ(meaning(current()), "unread") << "it has no engine";
        standIn.changeEngine("xkb:de::deu");
        EXPECT_TRUE(runUntil([&] { return current().has_value(); }));
        EXPECT_EQ(current()->id, "xkb.de");
    }
    EXPECT_TRUE(runUntil([&] { return !current(); })) << "it has gone, and may come back";
    std::filesystem::remove_all(folder);
    ibus = std::make_unique<IBusDaemon>(IBusPlaces{});
    ASSERT_TRUE(runUntil([&] { return current().has_value(); }));
    server->end();
    EXPECT_TRUE(runUntil([&] { return !current(); }));
}

} // namespace
} // namespace orvel
