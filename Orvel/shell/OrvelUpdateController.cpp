#include "Orvel/shell/OrvelUpdateController.h"

#include "Orvel/desktop/Processes.h"

#include <utility>

namespace orvel {

namespace {

// Of the system's own runs of tests.
constexpr auto testHostVariable = "XCTestConfigurationFilePath";

} // namespace

OrvelUpdateController::OrvelUpdateController(const ChangeSignal& changes, Updater* updater,
                                             Processes& processes, std::string version)
    : updater(updater),
      processes(processes),
      ownVersion(std::move(version)),
      canCheck(changes),
      checks(changes),
      downloads(changes),
      isReady(changes),
      statusText(changes) {}

void OrvelUpdateController::start() {
    if (started || !productionUpdatesEnabled() || processes.environmentVariable(testHostVariable)) return;
    started = true;
    // A request for the feed tells nothing of the machine.
    isRunning = updater->start({.allowedSystemProfileKeys = {},
                                .feedParameters = {},
                                .onChanged = [this] { mirror(); },
                                .onReady = [this](auto ready) { takeReady(std::move(ready)); }});
    if (isRunning)
        mirror();
    else
        statusText = "Couldn’t start update checking. Restart Orvel and try again.";
}

void OrvelUpdateController::mirror() {
    const auto state = updater->state();
    canCheck.update(state.canCheckForUpdates);
    checks.update(state.automaticallyChecks);
    downloads.update(state.automaticallyDownloads);
}

void OrvelUpdateController::takeReady(std::function<void()> ready) {
    install = std::move(ready);
    isReady = true;
    statusText = "Update ready. Quit Orvel when your transfers have finished, or install and relaunch now.";
}

void OrvelUpdateController::setAutomaticallyChecks(bool wanted) {
    if (!isRunning) return;
    updater->setAutomaticallyChecks(wanted);
    mirror();
}

void OrvelUpdateController::setAutomaticallyDownloads(bool wanted) {
    if (!isRunning) return;
    updater->setAutomaticallyDownloads(wanted);
    mirror();
}

void OrvelUpdateController::checkForUpdates() {
    if (isRunning && canCheck) updater->checkForUpdates();
}

void OrvelUpdateController::installReadyUpdate() {
    if (install) install();
}

} // namespace orvel
