// The programs themselves on an X server and a session bus of the test's own: what they touch, and when.

#include "Orvel/platform/linux/XKeyboardTap.h"
#include "Orvel/platform/linux/XOwnInput.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "platform/linux/PrivateBus.h"
#include "platform/linux/XTestDesktop.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class WindowProgramTest : public XDesktopTest {
  protected:
    void SetUp() override {
        if (const auto missing = PrivateBus::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        XDesktopTest::SetUp();
        if (other) bus = std::make_unique<PrivateBus>();
    }

    // The bus waits for all children of the test, of which the server is one.
    void TearDown() override {
        other.reset();
        person.reset();
        server.reset();
        bus.reset();
    }

    std::string path(const std::string& name) const { return (bus->folder() / name).string(); }

    std::map<std::string, std::string> environment(bool hasQtWindow = true) const {
        auto variables = bus->environment();
        variables["DISPLAY"] = server->display();
        if (!hasQtWindow) variables["QT_QPA_PLATFORM"] = "offscreen";
        return variables;
    }
    std::unique_ptr<OwnChild> startOrvel(bool hasQtWindow = true) const {
        return std::make_unique<OwnChild>(std::vector<std::string>{ORVEL, "--data", path("data")},
                                          environment(hasQtWindow));
    }
    void allowWatching() const {
        std::filesystem::create_directories(path("data"));
        std::ofstream(path("data/settings.ini"))
            << "[General]\nwatchesForCommand=yes\nhasOfferedOrvelSetup=yes\n";
    }
    /// Whether nobody holds Return.
    bool isReturnFree() {
        XKeyboardTap tap(loop, std::make_shared<XOwnInput>(), server->display());
        return tap.start([](const TapEvent&) { return TapAnswer::pass; }) == TapStart::started;
    }
    /// Whether Orvel comes to hold Return. To look is to hold it oneself for a moment, which must not meet
    /// Orvel's own attempt.
    bool comesToHoldReturn() {
        std::this_thread::sleep_for(2500ms);
        const auto end = loop.uptime() + 20s;
        while (isReturnFree() && loop.uptime() < end) std::this_thread::sleep_for(700ms);
        return !isReturnFree();
    }
    bool hasWindow() {
        const auto owners = XWindowList(server->display()).reader()(1000);
        return owners && std::find(owners->begin(), owners->end(), "Orvel") != owners->end();
    }
    /// The status of a command and what it prints.
    std::pair<int, std::string> cli(const std::string& arguments) const {
        std::string line = "env -i";
        for (const auto& [name, value] : environment()) line += " " + name + "='" + value + "'";
        std::FILE* pipe = popen((line + " " + ORVEL_CLI + " " + arguments).c_str(), "r");
        std::string text;
        char piece[256];
        while (std::fgets(piece, sizeof piece, pipe)) text += piece;
        const int status = pclose(pipe);
        return {WEXITSTATUS(status), text};
    }

    std::unique_ptr<PrivateBus> bus;
};

TEST_F(WindowProgramTest, holdsReturnOnlyOnceThatWasAllowedAndLetsItPass) {
    {
        const auto orvel = startOrvel();
        ASSERT_TRUE(runUntil([&] { return hasWindow(); }));
        // It looks at the permissions as it starts and every second.
        for (const auto end = loop.uptime() + 2500ms; loop.uptime() < end;) {
            ASSERT_TRUE(isReturnFree());
            runUntil([] { return false; }, 200ms);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(path(".config/autostart")));
    allowWatching();
    const auto orvel = startOrvel();
    ASSERT_TRUE(comesToHoldReturn());
    other->focus();
    constexpr std::int64_t returnKey = 36, keyA = 0;
    for (const auto key : {returnKey, keyA, returnKey}) stroke(key);
    EXPECT_TRUE(runUntil([&] { return other->seen == "36 -36 0 -0 36 -36 "; })) << other->seen;

    bus->turn(false);
    EXPECT_TRUE(runUntil([&] { return isReturnFree(); }))
        << "without accessibility there is nothing to watch";
    bus->turn(true);
    EXPECT_TRUE(comesToHoldReturn());
    orvel->end();
    EXPECT_TRUE(isReturnFree());
}

TEST_F(WindowProgramTest, goesOnWithoutTheServer) {
    allowWatching();
    const auto orvel = startOrvel(false);
    ASSERT_TRUE(comesToHoldReturn());
    server->end();
    // Long enough for the tap, the clipboard and a look at the applications to hear of it.
    std::this_thread::sleep_for(2500ms);
    EXPECT_EQ(waitpid(orvel->id(), nullptr, WNOHANG), 0) << "it still runs";
}

TEST_F(WindowProgramTest, theDoctorTellsWhatIsThere) {
    const auto told = [this](const std::string& arguments, const std::string& line) {
        const auto [status, text] = cli("doctor " + arguments);
        EXPECT_EQ(status, 3) << "there are no agents here";
        EXPECT_NE(text.find(line), text.npos) << line << " in\n" << text;
    };
    told("--try-keyboard", "Return was held and let go again.");
    EXPECT_TRUE(isReturnFree());
    told("", "not tried");
    told("", "It is on: programs expose their windows.");
    told("", "It answers, and is empty.");
    bus->turn(false);
    told("", "It is off: programs that start now");
    XKeyboardTap tap(loop, std::make_shared<XOwnInput>(), server->display());
    ASSERT_EQ(tap.start([](const TapEvent&) { return TapAnswer::pass; }), TapStart::started);
    told("--try-keyboard", "another program holds it");
}

} // namespace
} // namespace orvel
