// Applications, bundles and the open panel.

#include "GnustepTest.h"
#include "Orvel/platform/mac/MacApplications.h"
#include "Orvel/platform/mac/MacBundle.h"
#include "Orvel/platform/mac/MacPanels.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "TemporaryFolder.h"

#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace orvel {
namespace {

using Calls = std::vector<std::string>;

struct OwnApplications : UnavailableApplications {
    void activateSelf() override { fakes().workspace.calls.emplace_back("show own window"); }
};

class MacApplicationsTest : public GnustepTest {
  protected:
    FakeWorkspace& workspace = fakes().workspace;
    SimulatedLoop loop;
    OwnApplications own;
    std::optional<MacApplications> applications = std::optional<MacApplications>(std::in_place, loop, own);
    std::optional<bool> opened;

    Task<void> open(std::string location) {
        const bool isRunning = co_await applications->openApplication(std::move(location));
        opened = isRunning;
    }
};

TEST_F(MacApplicationsTest, tellsTheRunningOnesInTheOrderOfTheirStart) {
    workspace.applications = {{.process = 10, .bundleID = "agent", .start = 300},
                              {.process = 11, .bundleID = "agent", .start = 200},
                              {.process = 12, .bundleID = "agent", .start = 100, .isTerminated = true},
                              {.process = -1, .bundleID = "agent", .start = 50},
                              {.process = 13, .bundleID = "agent"},
                              {.process = 14}};
    const auto running = applications->running("agent");
    ASSERT_EQ(running.size(), 3U);
    EXPECT_EQ(running[0].process, 13);
    EXPECT_EQ(running[1].process, 11);
    EXPECT_EQ(running[2], (RunningApplication{"agent", 10}));
    EXPECT_TRUE(applications->running("other").empty());
    EXPECT_EQ(applications->frontmost(), (RunningApplication{"agent", 10}));
    EXPECT_EQ(applications->application(14), (RunningApplication{std::nullopt, 14}));
    EXPECT_EQ(applications->application(12), std::nullopt) << "it has ended";
    EXPECT_EQ(applications->application(15), std::nullopt);
    workspace.applications.front().isTerminated = true;
    EXPECT_EQ(applications->frontmost(), std::nullopt);
}

TEST_F(MacApplicationsTest, readsWhatABundleDeclaresNow) {
    const TemporaryFolder folder;
    const auto bundle = folder.path("Agent.app");
    const auto declare = [&](const std::string& facts) {
        folder.write("Agent.app/Contents/Info.plist",
                     R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)" + facts +
                         "</dict></plist>");
    };
    workspace.applications = {{.process = 10, .bundleID = "agent", .bundlePath = bundle}, {.process = 11}};
    EXPECT_EQ(applications->bundleOf(10), std::nullopt);
    const std::string identity = "<key>CFBundleIdentifier</key><string>agent</string>";
    declare(identity + "<key>CFBundleShortVersionString</key><string>1.2</string>");
    EXPECT_EQ(applications->bundleOf(10), (ApplicationBundle{"agent", "1.2"}));
    declare(identity + "<key>CFBundleShortVersionString</key><string>1.3</string>");
    EXPECT_EQ(applications->bundleOf(10), (ApplicationBundle{"agent", "1.3"})) << "it was updated";
    EXPECT_EQ(applications->bundleAt(bundle), (ApplicationBundle{"agent", "1.3"}));
    declare("<key>CFBundleShortVersionString</key><integer>2</integer>");
    EXPECT_EQ(applications->bundleOf(10), (ApplicationBundle{}));
    EXPECT_EQ(applications->bundleOf(11), std::nullopt);
    EXPECT_EQ(applications->bundleOf(12), std::nullopt);
    EXPECT_EQ(applications->bundleAt("Agent.app"), std::nullopt);
}

TEST_F(MacApplicationsTest, passesTheForegroundByYieldingFirst) {
    workspace.applications = {{.process = 10, .bundleID = "agent"},
                              {.process = 11, .bundleID = "agent", .refusesActivation = true},
                              {.process = 12, .bundleID = "agent", .isTerminated = true}};
    EXPECT_TRUE(applications->activate(10));
    EXPECT_EQ(workspace.calls, (Calls{"yield to 10", "activate 10 from 1 options 0"}));
    EXPECT_FALSE(applications->activate(11));
    workspace.calls.clear();
    EXPECT_FALSE(applications->activate(12));
    EXPECT_EQ(workspace.calls, Calls());
    applications->activateSelf();
    EXPECT_EQ(workspace.calls, (Calls{"show own window", "activate self"}));
}

TEST_F(MacApplicationsTest, opensAnApplicationAndTellsWhatTheSystemAnswers) {
    workspace.installed = {{"agent", "/Applications/Agent.app"}};
    ASSERT_EQ(applications->location("agent"), "/Applications/Agent.app");
    EXPECT_EQ(applications->location("other"), std::nullopt);
    struct Case {
        bool hasApplication, hasError, isOpened;
    };
    for (const auto& [hasApplication, hasError, isOpened] :
         {Case{true, false, true}, Case{true, true, false}, Case{false, true, false},
          Case{false, false, false}}) {
        opened.reset();
        workspace.calls.clear();
        TaskScope tasks;
        tasks.start(open("/Applications/Agent.app"));
        EXPECT_EQ(workspace.calls, Calls{"launch /Applications/Agent.app in front"});
        std::thread([&] { workspace.answer(hasApplication, hasError); }).join();
        EXPECT_FALSE(opened) << "the answer came on another thread";
        loop.runFor(std::chrono::milliseconds(1));
        EXPECT_EQ(opened, isOpened);
        workspace.answer(true, false); // Once more.
        loop.runFor(MacApplications::openLimit);
        EXPECT_EQ(opened, isOpened);
    }
    workspace.calls.clear();
    TaskScope tasks;
    tasks.start(open("Agent.app"));
    loop.run();
    EXPECT_EQ(opened, false);
    EXPECT_EQ(workspace.calls, Calls());
}

TEST_F(MacApplicationsTest, waitsForNoAnswerForEver) {
    TaskScope tasks;
    tasks.start(open("/Applications/Agent.app"));
    loop.runFor(MacApplications::openLimit - std::chrono::seconds(1));
    EXPECT_FALSE(opened);
    loop.runFor(std::chrono::seconds(2));
    EXPECT_EQ(opened, false);
    workspace.answer(true, false);
    loop.run();
    EXPECT_EQ(opened, false);
    // Nor does an answer find what is gone.
    opened.reset();
    {
        TaskScope cancelled;
        cancelled.start(open("/Applications/Agent.app"));
    }
    workspace.answer(true, false);
    loop.run();
    applications.reset();
    workspace.answer(true, false);
    EXPECT_FALSE(loop.runUntil([] { return false; }, MacApplications::openLimit));
    EXPECT_FALSE(opened);
}

TEST_F(MacApplicationsTest, opensAnAddressOnlyAsItIs) {
    const std::string settings =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent";
    EXPECT_TRUE(applications->openURL(settings));
    EXPECT_EQ(workspace.calls, Calls{"open " + settings});
    for (const auto* wrong : {"claude://a b", "\xff"}) EXPECT_FALSE(applications->openURL(wrong));
    EXPECT_EQ(workspace.calls.size(), 1U);
}

class MacBundleTest : public GnustepTest {};

TEST_F(MacBundleTest, enablesUpdatesByTheBooleanTrueAlone) {
    auto& bundle = fakes().bundle;
    EXPECT_FALSE(MacBundle::enablesUpdates());
    bundle.numbers["OrvelEnableUpdates"] = 1;
    EXPECT_FALSE(MacBundle::enablesUpdates());
    bundle.texts["OrvelEnableUpdates"] = "YES";
    EXPECT_FALSE(MacBundle::enablesUpdates());
    bundle = {.booleans = {{"OrvelEnableUpdates", false}}};
    EXPECT_FALSE(MacBundle::enablesUpdates());
    bundle.booleans["OrvelEnableUpdates"] = true;
    EXPECT_TRUE(MacBundle::enablesUpdates());
}

TEST_F(MacBundleTest, tellsVersionRevisionAndHost) {
    auto& bundle = fakes().bundle;
    EXPECT_EQ(MacBundle::version(), std::nullopt);
    EXPECT_EQ(MacBundle::gitRevision(), std::nullopt);
    EXPECT_EQ(MacBundle::feedHost(), "");
    bundle.texts = {{"CFBundleShortVersionString", "1.4"},
                    {"OrvelGitRevision", "abc123"},
                    {"SUFeedURL", "https://updates.example/orvel/feed.xml"}};
    EXPECT_EQ(MacBundle::version(), "1.4");
    EXPECT_EQ(MacBundle::gitRevision(), "abc123");
    EXPECT_EQ(MacBundle::feedHost(), "updates.example");
}

class MacPanelsTest : public GnustepTest {};

TEST_F(MacPanelsTest, letsThePersonChooseOneFileOrOneFolder) {
    const TemporaryFolder folder;
    auto& panel = fakes().panel;
    MacPanels panels;
    panel.chosen = "/tmp/Grüße.jsonl";
    EXPECT_EQ(panels.choose({.message = "Select it.", .folder = folder.path(), .showsHiddenFiles = true}),
              "/tmp/Grüße.jsonl");
    EXPECT_TRUE(panel.choosesFiles && panel.showsHidden);
    EXPECT_FALSE(panel.choosesFolders || panel.choosesSeveral);
    EXPECT_EQ(panel.message, "Select it.");
    EXPECT_EQ(panel.folder, folder.path());

    panel.isConfirmed = false;
    EXPECT_EQ(panels.choose({.message = "Choose it.",
                             .folder = folder.path("missing"),
                             .title = "The folder",
                             .kind = OpenPanel::Kind::folder}),
              std::nullopt)
        << "it was cancelled";
    EXPECT_TRUE(panel.choosesFolders);
    EXPECT_FALSE(panel.choosesFiles || panel.choosesSeveral || panel.showsHidden);
    EXPECT_EQ(panel.message, "The folder\nChoose it.");
    EXPECT_EQ(panel.prompt, "Use this folder");
    EXPECT_NE(panel.folder, folder.path("missing"));
}

} // namespace
} // namespace orvel
