#include "Orvel/shell/OrvelUpdateController.h"

#include "Orvel/platform/simulated/SimulatedDesktop.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

struct OrvelUpdateControllerTest : testing::Test {
    OrvelUpdateController& started() {
        made.emplace(changes, &desktop.updater, desktop.processes, "1.0");
        made->start();
        made->start();
        return *made;
    }

    SimulatedDesktop desktop;
    ChangeSignal changes;
    std::optional<OrvelUpdateController> made;
};

TEST_F(OrvelUpdateControllerTest, StartsTheFrameworkOnceAndOnlyWhereUpdatesAreWanted) {
    OrvelUpdateController without(changes, nullptr, desktop.processes, "1.0");
    without.start();
    without.checkForUpdates();
    without.installReadyUpdate();
    EXPECT_FALSE(without.isOffered());
    EXPECT_FALSE(without.productionUpdatesEnabled());

    desktop.updater.isProduction = false;
    EXPECT_FALSE(started().productionUpdatesEnabled());
    EXPECT_TRUE(made->isOffered());
    desktop.updater.isProduction = true;
    desktop.processes.environment["XCTestConfigurationFilePath"] = "/tmp/test";
    started();
    EXPECT_EQ(desktop.updater.starts, 0);
    desktop.processes.environment.clear();
    started();
    EXPECT_EQ(desktop.updater.starts, 1);
    EXPECT_TRUE(desktop.updater.delegate->allowedSystemProfileKeys.empty());
    EXPECT_TRUE(desktop.updater.delegate->feedParameters.empty());
}

TEST_F(OrvelUpdateControllerTest, AFrameworkThatDoesNotStartIsToldAndAskedNothing) {
    desktop.updater.failsToStart = true;
    auto& updates = started();
    EXPECT_EQ(updates.status(), "Couldn’t start update checking. Restart Orvel and try again.");
    EXPECT_EQ(desktop.updater.starts, 1);
    updates.checkForUpdates();
    updates.setAutomaticallyChecks(true);
    EXPECT_FALSE(updates.canCheckForUpdates());
    EXPECT_FALSE(desktop.updater.state().automaticallyChecks);
    EXPECT_EQ(desktop.updater.checks, 0);
}

TEST_F(OrvelUpdateControllerTest, MirrorsTheFrameworkAndPassesOnWhatThePersonWants) {
    auto& updates = started();
    EXPECT_TRUE(updates.canCheckForUpdates());
    const auto before = changes.count();
    desktop.updater.change({.automaticallyChecks = true, .automaticallyDownloads = true});
    EXPECT_GT(changes.count(), before);
    EXPECT_TRUE(updates.automaticallyChecks() && updates.automaticallyDownloads());
    updates.checkForUpdates();
    EXPECT_EQ(desktop.updater.checks, 0) << "one check at a time";
    desktop.updater.change({.canCheckForUpdates = true});
    updates.checkForUpdates();
    EXPECT_EQ(desktop.updater.checks, 1);
    updates.setAutomaticallyDownloads(true);
    EXPECT_TRUE(updates.automaticallyDownloads() && !updates.automaticallyChecks());
    EXPECT_TRUE(desktop.updater.state().automaticallyDownloads);
    EXPECT_EQ(updates.status(), std::nullopt);
}

TEST_F(OrvelUpdateControllerTest, AReadyUpdateCanBeInstalledAsOftenAsItTakes) {
    auto& updates = started();
    int quits = 0;
    updates.installReadyUpdate();
    desktop.updater.download([&quits] { ++quits; });
    EXPECT_TRUE(updates.isReadyToInstall());
    EXPECT_EQ(updates.status(),
              "Update ready. Quit Orvel when your transfers have finished, or install and relaunch now.");
    EXPECT_EQ(quits, 0) << "nothing is installed by itself";
    updates.installReadyUpdate();
    updates.installReadyUpdate();
    EXPECT_EQ(quits, 2);
}

} // namespace
} // namespace orvel
