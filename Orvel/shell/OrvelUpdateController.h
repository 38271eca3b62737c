#pragma once
// Updates of this program: what the menu and the settings show of the platform's framework, and what they ask
// of it. An update is installed by a quit, which follows the rules of every quit.

#include "Orvel/desktop/Updater.h"
#include "Orvel/runtime/Observable.h"

#include <functional>
#include <optional>
#include <string>

namespace orvel {

class Processes;

/// Belongs to the main loop's thread.
class OrvelUpdateController {
  public:
    /// `updater` is null where the platform has no framework for updates. Everything outlives the controller.
    OrvelUpdateController(const ChangeSignal& changes, Updater* updater, Processes& processes,
                          std::string version);

    /// Whether there is anything to say of updates.
    bool isOffered() const { return updater != nullptr; }
    /// Whether this build receives updates.
    bool productionUpdatesEnabled() const { return updater && updater->isProductionBuild(); }
    /// Of this program.
    const std::string& version() const { return ownVersion; }
    /// The host that updates are asked of.
    std::string feedHost() const { return updater->feedHost(); }

    /// To be called once at the start of the program; further calls do nothing. Nor does it where updates are
    /// disabled, and under a test host.
    void start();

    bool canCheckForUpdates() const { return canCheck; }
    bool automaticallyChecks() const { return checks; }
    bool automaticallyDownloads() const { return downloads; }
    /// How it stands, where there is something to say.
    const std::optional<std::string>& status() const { return statusText.get(); }
    /// Whether an update has been downloaded.
    bool isReadyToInstall() const { return isReady; }

    // Nothing of this does anything before the framework has started.

    void setAutomaticallyChecks(bool wanted);
    void setAutomaticallyDownloads(bool wanted);
    void checkForUpdates();
    /// Quits, if nothing stands against it, and opens the update. Can be asked again after a refusal.
    void installReadyUpdate();

  private:
    void mirror();
    void takeReady(std::function<void()> install);

    Updater* updater;
    Processes& processes;
    std::string ownVersion;
    Observable<bool> canCheck, checks, downloads, isReady;
    Observable<std::optional<std::string>> statusText;
    std::function<void()> install; // Empty until an update is ready.
    bool started = false, isRunning = false;
};

} // namespace orvel
