// A real daemon with a real Japanese input method, on a display and under an ordinary user's account.

#include "MozcSession.h"
#include "PrivateBus.h"
#include "XTestDesktop.h"

#include "Orvel/platform/linux/AtSpiAccessibility.h"
#include "Orvel/platform/linux/IBusDaemon.h"
#include "Orvel/platform/linux/IBusInputSources.h"
#include "Orvel/platform/linux/XKeyboardLayout.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/japanese/GoogleIMEWindowDiagnostic.h"
#include "OrvelCore/japanese/JapaneseLineBreakSource.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using State = PendingComposition::State;
using Presence = IBusDaemon::Presence;
namespace Windows = GoogleIMEWindowDiagnostic;

constexpr const char* ibusName = "org.freedesktop.IBus";
constexpr const char* contextInterface = "org.freedesktop.IBus.InputContext";
constexpr std::uint32_t returnKey = 0xFF0D, escapeKey = 0xFF1B;

/// An editor, as a program tells the daemon of it.
class Editor {
  public:
    explicit Editor(const std::string& address)
        : bus(BusConnection::open(address, BusKind::bus, std::chrono::steady_clock::now() + 5s)) {
        const auto made = call("/org/freedesktop/IBus", ibusName, "CreateInputContext",
                               [](auto* message) { return sd_bus_message_append(message, "s", "test"); });
        const char* created = "";
        if (auto* answer = made.rewound()) sd_bus_message_read(answer, "o", &created);
        path = created;
        static constexpr std::uint32_t preedit = 1, focus = 8;
        tell("SetCapabilities",
             [](auto* message) { return sd_bus_message_append(message, "u", preedit | focus); });
        tell("SetCursorLocation",
             [](auto* message) { return sd_bus_message_append(message, "iiii", 100, 100, 10, 20); });
    }
    void focus() { tell("FocusIn"); }
    void unfocus() { tell("FocusOut"); }
    void reset() { tell("Reset"); }
    /// Whether the input method took the key.
    bool press(std::uint32_t key, std::uint32_t modifiers = 0) {
        static constexpr std::uint32_t isRelease = 1U << 30;
        bool isTaken = false;
        for (const auto state : {modifiers, modifiers | isRelease}) {
            const auto answer = tell("ProcessKeyEvent", [&](auto* message) {
                return sd_bus_message_append(message, "uuu", key, 0, state);
            });
            if (state == modifiers) isTaken = answer.boolean() == true;
        }
        return isTaken;
    }
    void type(const std::string& text) {
        for (const char letter : text) press(static_cast<unsigned char>(letter));
    }
    void selectMode(const char* key) {
        tell("PropertyActivate",
             [key](auto* message) { return sd_bus_message_append(message, "su", key, 1); });
    }
    bool select(const char* engine) {
        return call("/org/freedesktop/IBus", ibusName, "SetGlobalEngine", [engine](auto* message) {
                   return sd_bus_message_append(message, "s", engine);
               }).status() == AXStatus::success;
    }

  private:
    BusReply tell(const char* member, std::function<int(sd_bus_message*)> arguments = {}) {
        return call(path, contextInterface, member, std::move(arguments));
    }
    BusReply call(const std::string& object, const char* interface, const char* member,
                  std::function<int(sd_bus_message*)> arguments) {
        if (!bus) return {};
        const std::array calls{BusCall{{ibusName, object}, interface, member, std::move(arguments)}};
        auto replies = bus->exchange(calls, std::chrono::steady_clock::now() + 10s);
        return std::move(replies[0]);
    }

    std::unique_ptr<BusConnection> bus;
    std::string path;
};

class IBusMozcTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = MozcSession::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        if (access("/usr/bin/Xvfb", X_OK) != 0) GTEST_SKIP() << "This machine has no /usr/bin/Xvfb.";
        if (const auto missing = PrivateBus::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        user = std::make_unique<OrdinaryUser>();
        if (!OrdinaryUser::isOne()) GTEST_SKIP() << "Nobody's rights can't be taken on.";
        session = std::make_unique<PrivateBus>();
        auto pattern = (std::filesystem::temp_directory_path() / "orvel-ibus-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        home = pattern;
        server = std::make_unique<TestServer>();
        environment = session->environment();
        environment["HOME"] = home;
        environment["DISPLAY"] = server->display();
        mozc = std::make_unique<MozcSession>(environment);
        layout = std::make_unique<XKeyboardLayout>(server->display(), std::vector<std::string>{});
        daemon = std::make_unique<IBusDaemon>(mozc->places());
        sources = std::make_unique<IBusInputSources>(*daemon, *layout);
        ASSERT_TRUE(isConnected());
        editor = std::make_unique<Editor>(*ibusAddress(mozc->places()));
        editor->focus();
    }
    void TearDown() override {
        editor.reset();
        daemon.reset();
        mozc.reset();
        server.reset();
        session.reset();
        if (!home.empty()) std::filesystem::remove_all(home);
    }

    bool isConnected() {
        return comes([&] { return daemon->input().presence == Presence::connected; });
    }
    bool isKnownASCII() {
        const auto source = sources->current();
        return source && source->isASCIICapable &&
               KnownASCIISource::matches(source->id, source->type, *source->isASCIICapable);
    }
    bool isKnownJapanese() {
        const auto source = sources->current();
        return source && JapaneseLineBreakSource::matches(source->id.value_or(""), source->mode.value_or(""),
                                                          source->type.value_or(""));
    }
    PendingComposition composition() { return daemon->current(std::chrono::steady_clock::now() + 5s); }
    State state() { return composition().state; }
    Windows::State candidates() {
        const auto owners = XWindowList(server->display()).reader()(1000);
        return owners ? Windows::classify(*owners) : Windows::State::unavailable;
    }
    bool becomeJapanese() {
        return editor->select("mozc-jp") && comes([&] {
                   editor->selectMode("InputMode.Hiragana");
                   return isKnownJapanese();
               });
    }

    std::unique_ptr<OrdinaryUser> user;
    std::unique_ptr<PrivateBus> session;
    std::string home;
    std::map<std::string, std::string> environment;
    std::unique_ptr<TestServer> server;
    std::unique_ptr<MozcSession> mozc;
    std::unique_ptr<XKeyboardLayout> layout;
    std::unique_ptr<IBusDaemon> daemon;
    std::unique_ptr<IBusInputSources> sources;
    std::unique_ptr<Editor> editor;
};

TEST_F(IBusMozcTest, theEngineIsReadAndFollowed) {
    ASSERT_TRUE(editor->select("xkb:us::eng"));
    EXPECT_TRUE(comes([&] { return isKnownASCII(); }));
    ASSERT_TRUE(editor->select("xkb:de::deu"));
    EXPECT_TRUE(comes([&] { return sources->current()->id == "xkb.de"; }));
    EXPECT_FALSE(isKnownASCII());
    ASSERT_TRUE(becomeJapanese());
    EXPECT_FALSE(isKnownASCII());
    editor->selectMode("InputMode.Direct");
    EXPECT_TRUE(comes([&] { return isKnownASCII(); }));
    editor->selectMode("InputMode.Latin");
    EXPECT_TRUE(comes([&] { return !isKnownASCII(); })) << "it composes Latin letters too";
    EXPECT_FALSE(isKnownJapanese());

    mozc->daemon().signal(SIGKILL);
    EXPECT_TRUE(comes([&] { return daemon->input().presence != Presence::connected; }));
    EXPECT_EQ(state(), State::unknown);
    mozc->daemon().end();
    mozc->start();
    EXPECT_TRUE(isConnected());
    editor = std::make_unique<Editor>(*ibusAddress(mozc->places()));
    editor->focus();
    ASSERT_TRUE(editor->select("xkb:us::eng"));
    EXPECT_TRUE(comes([&] { return isKnownASCII() && state() == State::none; }));
}

TEST_F(IBusMozcTest, aCompositionIsSeenUntilItIsOver) {
    ASSERT_TRUE(becomeJapanese());
    EXPECT_TRUE(comes([&] { return state() == State::none; }));
    EXPECT_EQ(candidates(), Windows::State::absent);
    const auto begin = [&] {
        editor->type("nihon");
        return state();
    };
    ASSERT_EQ(begin(), State::pending);
    const auto before = composition().version;
    editor->type("go");
    EXPECT_NE(composition().version, before);
    // The window's program is started by the first use, and shows what comes after it.
    EXPECT_TRUE(comes([&] {
        editor->type(" ");
        return candidates() == Windows::State::present;
    }));
    EXPECT_EQ(state(), State::pending);
    EXPECT_TRUE(editor->press(returnKey));
    EXPECT_EQ(state(), State::none) << "confirmed";
    EXPECT_TRUE(comes([&] { return candidates() == Windows::State::absent; }));
    EXPECT_FALSE(editor->press(returnKey));

    static constexpr std::uint32_t control = 4;
    const std::vector<std::pair<const char*, std::function<void()>>> ends{
        {"given up", [&] { editor->press(escapeKey), editor->press(escapeKey); }},
        {"confirmed by another key", [&] { editor->press('m', control); }},
        {"a click elsewhere in the editor", [&] { editor->reset(); }},
        {"to another editor and back", [&] { editor->unfocus(), editor->focus(); }}};
    for (const auto& [name, end] : ends) {
        ASSERT_EQ(begin(), State::pending) << name;
        end();
        EXPECT_EQ(state(), State::none) << name;
    }

    editor->unfocus();
    EXPECT_EQ(state(), State::unknown) << "no editor has the focus";
    editor->focus();
    IBusDaemon late(mozc->places());
    EXPECT_TRUE(comes([&] { return late.input().presence == Presence::connected; }));
    const auto read = [&] { return late.current(std::chrono::steady_clock::now() + 5s).state; };
    EXPECT_EQ(read(), State::unknown) << "nothing was heard of this editor";
    editor->unfocus();
    editor->focus();
    EXPECT_EQ(read(), State::none);
}

TEST_F(IBusMozcTest, aLayoutComposesByItsOwnKeys) {
    static constexpr std::uint32_t controlShift = 5;
    ASSERT_TRUE(editor->select("xkb:us::eng"));
    EXPECT_TRUE(comes([&] { return isKnownASCII() && state() == State::none; }));
    EXPECT_FALSE(editor->press('a'));
    EXPECT_EQ(state(), State::none);
    EXPECT_TRUE(editor->press('U', controlShift));
    EXPECT_TRUE(comes([&] { return state() == State::pending; })) << "a character by its number";
    editor->press(escapeKey);
    EXPECT_TRUE(comes([&] { return state() == State::none; }));
}

// From the keyboard to the attribute by which a Return is decided.
TEST_F(IBusMozcTest, anEditorInABrowserTellsWhatIsMarkedInIt) {
    for (const auto* needed : {"/usr/bin/chromium", "/usr/bin/openbox"})
        if (access(needed, X_OK) != 0) GTEST_SKIP() << "This machine has no " << needed << ".";
    if (!MozcSession::servesPrograms()) GTEST_SKIP() << "Programs have no way to IBus here.";

    ASSERT_TRUE(becomeJapanese());
    editor->unfocus();
    auto variables = environment;
    variables.merge(MozcSession::variablesOfPrograms());
    const OwnChild manager({"/usr/bin/openbox"}, variables);
    const auto page = home + "/page.html";
    std::ofstream(page) << "<!doctype html><meta charset=utf-8><textarea autofocus></textarea>";
    OwnChild browser({"/usr/bin/chromium", "--no-sandbox", "--disable-gpu", "--no-first-run", "--test-type",
                      "--disable-background-networking", "--disable-component-update", "--disable-sync",
                      "--password-store=basic", "--user-data-dir=" + home + "/profile",
                      "--app=file://" + page},
                     variables);
    AccessibilityBus bus(session->address());
    AtSpiAccessibility access(bus, {.compositions = daemon.get()});
    const auto application = [&] { return access.application(browser.id()); };
    ASSERT_TRUE(comes([&] {
        return access.setAttribute(application(), "AXManualAccessibility", true) == AXStatus::success;
    }));
    std::optional<AXElement> area;
    const auto find = [&] {
        const auto focused = access.attribute(application(), "AXFocusedUIElement");
        if (const auto* found = focused.as<AXElement>()) area = *found;
        return area && access.attribute(*area, "AXRole").value == AXValue("AXTextArea");
    };
    ASSERT_TRUE(comes(find));
    const auto marked = [&] { return access.attribute(*area, "AXTextInputMarkedTextMarkerRange"); };
    EXPECT_TRUE(comes([&] { return marked().status == AXStatus::noValue; })) << int(marked().status);

    const auto person = XConnection::open(server->display());
    const XKeys keys(*person);
    const auto press = [&](std::int64_t code) {
        const auto stroke = keys.stroke(code, 0);
        for (const auto type : {XCB_KEY_PRESS, XCB_KEY_RELEASE})
            xcb_test_fake_input(person->get(), static_cast<std::uint8_t>(type), stroke->keycode,
                                XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
        person->synchronise();
    };
    const auto reads = [&](const std::string& text, AXStatus status) {
        return comes([&] {
            return access.attribute(*area, "AXValue").value == AXValue(text) && marked().status == status;
        });
    };
    static constexpr std::int64_t k = 40, a = 0, enter = 36;
    press(k), press(a);
    EXPECT_TRUE(reads("か", AXStatus::success));
    EXPECT_EQ(marked().value, marked().value);
    press(enter);
    EXPECT_TRUE(reads("か", AXStatus::noValue)) << "the text is the same, and not marked any more";
    browser.end();
}

} // namespace
} // namespace orvel
