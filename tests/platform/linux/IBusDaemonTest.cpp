// Listening to a daemon that says what none that is installed here can be made to say.

#include "PrivateBus.h"
#include "StandInIBus.h"

#include "Orvel/platform/linux/IBusDaemon.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using State = PendingComposition::State;
using Presence = IBusDaemon::Presence;

constexpr const char* contextInterface = "org.freedesktop.IBus.InputContext";

int garbage(sd_bus_message* message) {
    return sd_bus_message_append(message, "ai", 2, 1, 2);
}

struct Folder {
    Folder() {
        auto pattern = (std::filesystem::temp_directory_path() / "orvel-ibus-XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::string path;
};

class IBusDaemonTest : public testing::Test {
  protected:
    void SetUp() override { begin(); }
    void begin() {
        daemon = std::make_unique<IBusDaemon>(IBusPlaces{.address = ibus.address(), .files = {}});
        ASSERT_TRUE(comes([&] { return daemon->input().presence == Presence::connected; }));
    }
    State state() { return composition().state; }
    PendingComposition composition() { return daemon->current(std::chrono::steady_clock::now() + 5s); }
    bool becomes(const std::optional<std::string>& engine, const std::optional<std::string>& mode) {
        return comes([&] { return daemon->input() == IBusDaemon::Input{Presence::connected, engine, mode}; });
    }

    Folder folder;
    StandInIBus ibus{folder.path};
    std::unique_ptr<IBusDaemon> daemon;
};

TEST_F(IBusDaemonTest, keepsTheEngineAndItsMode) {
    ASSERT_TRUE(becomes("xkb:us::eng", {}));
    ibus.changeEngine("mozc-jp");
    ASSERT_TRUE(becomes("mozc-jp", {})) << "its mode is unknown until it registers it";
    ibus.registerModes("InputMode.Direct");
    ASSERT_TRUE(becomes("mozc-jp", "InputMode.Direct"));
    ibus.registerModes("InputMode.Hiragana", "UpdateProperty");
    ASSERT_TRUE(becomes("mozc-jp", "InputMode.Hiragana"));
    for (const auto* member : {"RegisterProperties", "UpdateProperty"}) {
        ibus.registerModes("InputMode.Direct");
        ASSERT_TRUE(becomes("mozc-jp", "InputMode.Direct"));
        ibus.emit("/org/freedesktop/IBus/Engine/1", "org.freedesktop.IBus.Engine", member, garbage);
        ASSERT_TRUE(becomes("mozc-jp", {})) << "a mode that can't be read is none: " << member;
    }
    ibus.registerModes("InputMode.Direct");
    ASSERT_TRUE(becomes("mozc-jp", "InputMode.Direct"));
    ibus.changeEngine("mozc-jp");
    ASSERT_TRUE(becomes("mozc-jp", {})) << "another engine of that name may have another mode";
    ibus.emit("/org/freedesktop/IBus", "org.freedesktop.IBus", "GlobalEngineChanged", garbage);
    ASSERT_TRUE(becomes({}, {}));
}

TEST_F(IBusDaemonTest, tellsOfTheEditorInFocusAlone) {
    EXPECT_EQ(state(), State::unknown) << "nothing was heard of it yet";
    ibus.preedit("");
    EXPECT_EQ(state(), State::none);
    ibus.preedit("か");
    const auto first = composition();
    EXPECT_EQ(first.state, State::pending);
    EXPECT_EQ(composition().version, first.version);
    ibus.preedit("き");
    EXPECT_NE(composition().version, first.version);
    ibus.emit(ibus.focused, contextInterface, "HidePreeditText", [](auto*) { return 0; });
    EXPECT_EQ(state(), State::none);
    ibus.emit(ibus.focused, contextInterface, "ShowPreeditText", [](auto*) { return 0; });
    EXPECT_EQ(state(), State::pending);
    ibus.preedit("か", false);
    EXPECT_EQ(state(), State::none);
    ibus.preedit("か");
    const auto other = ibus.focused + "7";
    ibus.emit(other, contextInterface, "HidePreeditText", [](auto*) { return 0; });
    EXPECT_EQ(state(), State::pending) << "the other one's text was hidden";
    {
        const auto held = ibus.hold();
        ibus.focused = other;
    }
    EXPECT_EQ(state(), State::unknown) << "what it was that was hidden was not heard";
    ibus.preedit("", false);
    EXPECT_EQ(state(), State::none);
    ibus.emit(other, contextInterface, "UpdatePreeditText", garbage);
    EXPECT_EQ(state(), State::unknown);
    const auto forge = [](sd_bus_message* message) {
        return sd_bus_message_append(message, "vub", "(sa{sv}sv)", "IBusText", 0, "", "s", "", 0, 0);
    };
    ibus.emit(other, contextInterface, "UpdatePreeditText", forge, ":1.3");
    EXPECT_EQ(state(), State::unknown) << "only the daemon knows";
    ibus.emit(other, contextInterface, "UpdatePreeditText", forge);
    EXPECT_EQ(state(), State::none);
}

TEST_F(IBusDaemonTest, whatHoldsForThePersonAloneIsNotListenedTo) {
    const auto held = ibus.hold();
    EXPECT_EQ(ibus.rules.size(), 7U);
    for (const auto& rule : ibus.rules) {
        EXPECT_NE(rule.find("type='signal'"), rule.npos) << rule;
        EXPECT_NE(rule.find("member="), rule.npos) << rule;
        EXPECT_EQ(rule.find("Commit"), rule.npos) << rule;
    }
}

TEST_F(IBusDaemonTest, whatIsAnsweredBadlyOrLateIsUnknown) {
    ibus.preedit("");
    EXPECT_EQ(state(), State::none);
    for (const auto& write : {StandInIBus::Write(garbage), StandInIBus::Write([](auto*) { return -1; })}) {
        ibus.hold(), ibus.strange = {{"CurrentInputContext", write}};
        EXPECT_EQ(state(), State::unknown);
    }
    ibus.hold(), ibus.strange.clear();
    EXPECT_EQ(state(), State::none);
    {
        const auto held = ibus.hold();
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(daemon->current(began + 15ms).state, State::unknown);
        EXPECT_EQ(daemon->input().engine, "xkb:us::eng");
        EXPECT_LT(std::chrono::steady_clock::now() - began, 2s);
    }
    EXPECT_EQ(state(), State::none) << "the late answer is dropped";
}

TEST_F(IBusDaemonTest, aDaemonThatNeverStopsTellingIsNotWaitedForLonger) {
    std::atomic<bool> isOver = false;
    std::thread flood([&] {
        while (!isOver) ibus.preedit("か");
    });
    for (int i = 0; i < 20; ++i) {
        const auto began = std::chrono::steady_clock::now();
        const auto found = daemon->current(began + 15ms).state;
        EXPECT_NE(found, State::none);
        EXPECT_LT(std::chrono::steady_clock::now() - began, 2s);
    }
    isOver = true;
    flood.join();
    ibus.preedit("");
    EXPECT_TRUE(comes([&] { return state() == State::none; }));
}

TEST_F(IBusDaemonTest, whatTheDaemonRefusesIsUnknown) {
    const auto again = [&] {
        daemon.reset();
        begin();
        ibus.preedit("");
    };
    ibus.hold(), ibus.letsListen = false;
    again();
    EXPECT_EQ(state(), State::unknown) << "it tells editors, and nobody else";
    EXPECT_TRUE(becomes("xkb:us::eng", {}));
    ibus.hold(), ibus.letsListen = true, ibus.strange = {{"GlobalEngine", garbage}};
    again();
    EXPECT_EQ(state(), State::none);
    EXPECT_TRUE(becomes({}, {}));
}

TEST_F(IBusDaemonTest, aDaemonThatEndedIsForgottenAndFoundAgain) {
    ibus.preedit("か");
    ibus.registerModes("InputMode.Direct");
    EXPECT_TRUE(becomes("xkb:us::eng", "InputMode.Direct"));
    EXPECT_EQ(state(), State::pending);
    ibus.hold(), ibus.engine = "mozc-jp";
    ibus.drop();
    EXPECT_TRUE(becomes("mozc-jp", {}));
    EXPECT_EQ(state(), State::unknown);
    ibus.preedit("");
    EXPECT_EQ(state(), State::none);
}

TEST(IBusAddress, isThatOfADaemonThatRuns) {
    const Folder folder;
    const auto file = folder.path + "/address";
    const auto found = [&](const std::string& text) {
        std::ofstream(file) << text;
        return ibusAddress({.address = {}, .files = {folder.path + "/none", file}});
    };
    const auto own = "IBUS_DAEMON_PID=" + std::to_string(getpid()) + "\n";
    EXPECT_EQ(found("# IBUS_ADDRESS=unix:path=/no\nIBUS_ADDRESS=unix:path=/a,guid=1\n" + own),
              "unix:path=/a,guid=1");
    for (const auto& text : {std::string(), own, std::string("IBUS_ADDRESS=unix:path=/a\n"),
                             std::string("IBUS_ADDRESS=unix:path=/a\nIBUS_DAEMON_PID=0\n"),
                             std::string("IBUS_ADDRESS=unix:path=/a\nIBUS_DAEMON_PID=2147483647\n")})
        EXPECT_EQ(found(text), std::nullopt) << text;
    EXPECT_EQ(ibusAddress({.address = "unix:path=/b", .files = {file}}), "unix:path=/b");
    std::filesystem::remove(file);
    IBusDaemon none({.address = {}, .files = {file}});
    EXPECT_TRUE(comes([&] { return none.input().presence == Presence::absent; }));
    EXPECT_EQ(none.current(std::chrono::steady_clock::now() + 1s).state, State::unknown);

    using Environment = std::map<std::string, std::string>;
    const auto places = [](const Environment& environment) {
        return ibusPlaces([&](const char* name) {
            const auto known = environment.find(name);
            return known == environment.end() ? std::nullopt : std::optional(known->second);
        });
    };
    EXPECT_EQ(places({{"IBUS_ADDRESS", "unix:path=/b"}}).address, "unix:path=/b");
    EXPECT_EQ(places({{"IBUS_ADDRESS_FILE", file}, {"DISPLAY", ":0"}}).files, std::vector{file});
    EXPECT_TRUE(places({{"DISPLAY", ":0"}}).files.empty());
    for (const auto& [display, end] :
         Environment{{":7.1", "-unix-7"}, {"far:2", "-far-2"}, {"", ""}, {"strange", ""}})
        for (const auto& path : places({{"HOME", "/home/a"}, {"DISPLAY", display}}).files)
            EXPECT_TRUE(!end.empty() && path.starts_with("/home/a/.config/ibus/bus/") && path.ends_with(end))
                << path;
}

} // namespace
} // namespace orvel
