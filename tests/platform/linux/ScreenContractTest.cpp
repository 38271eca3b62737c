// What every platform's applications and list of windows promise: the same tests on the simulated desktop and
// on a real X server with a window manager; and its input sources, on the simulated desktop.

#include "Orvel/platform/linux/XApplications.h"
#include "Orvel/platform/linux/XWindowList.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "platform/InputSourcesContract.h"
#include "platform/WindowListContract.h"
#include "platform/linux/XTestDesktop.h"

#include <filesystem>
#include <map>

namespace orvel {
namespace {

const std::string claudeID = "com.anthropic.claudefordesktop", codexID = "com.openai.codex";

// Claude and a program that is no agent, which come and go; and windows besides theirs.

class SimulatedWorld {
  public:
    static std::string whatIsMissing() { return {}; }

    SimulatedWorld() {
        screen.applications.install(claude);
        screen.windows.owners.clear();
        list = screen.windows.reader();
    }
    Applications& applications() { return screen.applications; }
    ProcessID startClaude() {
        process = screen.applications.start(claude);
        screen.applications.bringToFront(process);
        return process;
    }
    void quitClaude() { screen.applications.quit(claude); }
    void show(const std::string& name) { screen.windows.owners.insert(screen.windows.owners.begin(), name); }
    void hide(const std::string& name) { std::erase(screen.windows.owners, WindowList::OwnerName(name)); }
    void losesItsWindows() { screen.windows.isReadable = false; }
    bool comes(const std::function<bool()>& holds) {
        screen.loop.runFor(std::chrono::seconds(1));
        return holds();
    }

    WindowList::Read list;

  private:
    SimulatedDesktop screen;
    SimulatedApplication claude{claudeID, "1.0", "/Applications/Claude.app"};
    ProcessID process = 0;
};

class XWorld : public XDesktopTest {
  public:
    static std::string whatIsMissing() {
        return isInstalled("Xvfb") && isInstalled("openbox") ? "" : "Xvfb or openbox is not installed.";
    }

    XWorld() {
        XDesktopTest::SetUp();
        char name[] = "/tmp/orvel-desktop-XXXXXX";
        folder = mkdtemp(name);
        setenv("HOME", folder.c_str(), 1);
        setenv("DISPLAY", server->display().c_str(), 1);
        for (const auto* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) unsetenv(variable);
        setenv("XDG_DATA_DIRS", (folder + "/share:/usr/share").c_str(), 1);
        manager = std::make_unique<TestProcess>(std::vector<std::string>{"openbox", "--sm-disable"});
        const auto windows = person->atom("_NET_CLIENT_LIST"); // There once it manages.
        EXPECT_TRUE(runUntil([&] { return person->property(person->root(), windows, 4).has_value(); }));
        held = std::make_unique<XApplications>(*person, loop, processes);
        list = XWindowList(server->display()).reader();
    }
    ~XWorld() override { std::filesystem::remove_all(folder); }
    void TestBody() override {}
    Applications& applications() { return *held; }
    ProcessID startClaude() {
        claude = std::make_unique<TestApplication>(server->display());
        claude->claim(4711, "Claude");
        claude->show();
        return 4711;
    }
    void quitClaude() { claude.reset(); }
    void show(const std::string& name) {
        auto& window = windows[name] = std::make_unique<TestApplication>(server->display());
        const std::uint32_t itself = 1; // No window manager puts it elsewhere.
        xcb_change_window_attributes(window->get(), window->window, XCB_CW_OVERRIDE_REDIRECT, &itself);
        window->claim(4712, name);
        window->show();
    }
    void hide(const std::string& name) {
        xcb_unmap_window(windows[name]->get(), windows[name]->window);
        windows[name]->connection->synchronise();
    }
    void losesItsWindows() { server->end(); }
    bool comes(const std::function<bool()>& holds) { return runUntil(holds); }

    WindowList::Read list;

  private:
    std::string folder;
    std::unique_ptr<TestProcess> manager;
    PosixProcesses processes{loop, loop};
    std::unique_ptr<XApplications> held;
    std::unique_ptr<TestApplication> claude;
    std::map<std::string, std::unique_ptr<TestApplication>> windows;
};

template <typename World>
class ScreenContractTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = World::whatIsMissing(); !missing.empty()) GTEST_SKIP() << missing;
        world = std::make_unique<World>();
    }

    std::unique_ptr<World> world;
};

using Worlds = testing::Types<SimulatedWorld, XWorld>;
TYPED_TEST_SUITE(ScreenContractTest, Worlds);

TYPED_TEST(ScreenContractTest, whatRunsIsFoundByNameAndNumberAndNothingElseIs) {
    auto& applications = this->world->applications();
    const auto expectNone = [&](ProcessID process) {
        EXPECT_TRUE(applications.running(claudeID).empty());
        EXPECT_EQ(applications.application(process), std::nullopt);
        EXPECT_EQ(applications.bundleOf(process), std::nullopt);
        EXPECT_FALSE(applications.activate(process));
    };
    EXPECT_GT(applications.ownProcess(), 0);
    expectNone(4711);
    for (int round = 0; round < 2; ++round) {
        const RunningApplication claude{claudeID, this->world->startClaude()};
        SCOPED_TRACE(round);
        ASSERT_TRUE(this->world->comes([&] { return applications.application(claude.process) == claude; }));
        EXPECT_EQ(applications.running(claudeID), std::vector{claude});
        EXPECT_TRUE(applications.running(codexID).empty());
        EXPECT_EQ(applications.bundleOf(claude.process)->bundleID, claudeID);
        EXPECT_TRUE(applications.activate(claude.process));
        EXPECT_TRUE(this->world->comes([&] { return applications.frontmost() == claude; }));
        this->world->quitClaude();
        EXPECT_TRUE(this->world->comes([&] { return applications.running(claudeID).empty(); }));
        EXPECT_NE(applications.frontmost(), claude);
        expectNone(claude.process);
    }
    EXPECT_EQ(applications.location(codexID), std::nullopt);
    EXPECT_EQ(applications.bundleAt("/nowhere"), std::nullopt);
    EXPECT_FALSE(applications.openURL("codex://x"));
    EXPECT_FALSE(applications.openURL("no URL"));
}

struct SimulatedSources {
    static std::string whatIsMissing() { return {}; }
    InputSources& sources() { return screen.inputSources; }
    void useLayout() { screen.inputSources.useABC(); }
    void useJapanese() { screen.inputSources.useGoogleHiragana(); }
    void losesThem() {
        screen.inputSources.source = std::nullopt, screen.inputSources.layoutID = std::nullopt;
    }

    SimulatedDesktop screen;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, WindowListContractTest, SimulatedWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(X, WindowListContractTest, XWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, InputSourcesContractTest, SimulatedSources);

} // namespace
} // namespace orvel
