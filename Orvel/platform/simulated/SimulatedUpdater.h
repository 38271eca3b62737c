#pragma once
// A framework for updates in memory: what it finds comes from outside.

#include "Orvel/desktop/Updater.h"

#include <optional>
#include <utility>

namespace orvel {

struct SimulatedUpdater : Updater {
    bool isProductionBuild() const override { return isProduction; }
    std::string feedHost() const override { return "updates.example"; }
    bool start(UpdaterDelegate wanted) override {
        ++starts;
        if (failsToStart) return false;
        delegate = std::move(wanted);
        held.canCheckForUpdates = true;
        return true;
    }
    UpdaterState state() const override { return held; }
    void setAutomaticallyChecks(bool wanted) override { held.automaticallyChecks = wanted; }
    void setAutomaticallyDownloads(bool wanted) override { held.automaticallyDownloads = wanted; }
    void checkForUpdates() override { ++checks; }

    /// Something changes by itself.
    void change(const UpdaterState& newState) {
        held = newState;
        delegate->onChanged();
    }
    /// An update has been downloaded; `quit` is how the framework asks this program to quit.
    void download(std::function<void()> quit) { delegate->onReady(std::move(quit)); }

    bool isProduction = true, failsToStart = false;
    int starts = 0, checks = 0;
    std::optional<UpdaterDelegate> delegate;

  private:
    UpdaterState held;
};

} // namespace orvel
