#include "Orvel/shell/OrvelApp.h"

#include "Orvel/delivery/DestinationAppLauncher.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/desktop/Settings.h"

#include <chrono>
#include <utility>

namespace orvel {

namespace {

constexpr std::string_view claudeCodeKey = "throughClaudeCode", developerToolsKey = "showDeveloperTools",
                           offeredSetupKey = "hasOfferedOrvelSetup";

constexpr std::chrono::seconds patience{5};
constexpr std::chrono::milliseconds lookInterval{10};

} // namespace

OrvelApp::OrvelApp(const Desktop& ports, const AgentFolders& folders, const std::string& statePath,
                   ClockStyle clock, const std::string& version)
    : ports(ports),
      clockStyle(clock),
      claude(ports, attempts, folders),
      model(ports, claude, folders, statePath),
      consent(model.changes(), ports.loop, ports.settings, ports.session),
      monitoring(model.changes(), ports, model.commandInbox, consent, {clock, version, folders.codex}),
      updates(model.changes(), ports.updater, ports.processes, version),
      developerTools(model.changes(), ports.settings.flag(developerToolsKey)),
      receivedCommand(model.changes()),
      tasks([this](const auto& failure) { model.notices.fail(failure); }) {
    model.outbox.allowClaudeCode(ports.settings.flag(claudeCodeKey));
}

void OrvelApp::start() {
    model.links.restoreRelay();
    model.commandInbox.restore();
    model.catalogue.discoverConversations();
    model.receipts.startReceiptPolling();
    updates.start();
    monitoring.onFailure = screens.showFailure;
    monitoring.onReceived = [this] {
        receivedCommand = true;
        screens.dismissFailure();
    };
    if (!canMonitor()) return;
    consent.start();
    monitoring.start();
    offerSetup();
}

void OrvelApp::offerSetup() {
    const auto setup = monitoring.setupState();
    if (ports.settings.flag(offeredSetupKey) || (setup.accessibilityGranted && setup.codexCaptureReady))
        return;
    ports.settings.setFlag(offeredSetupKey, true);
    screens.showSetup();
}

void OrvelApp::open(const std::vector<std::string>& items) {
    for (const auto& item : items) {
        if (item.starts_with("orvel:"))
            model.commandInbox.open(item);
        else
            model.workspace.openFile(item);
    }
}

void OrvelApp::showDetails(const std::string& failure) {
    model.notices.fail(failure);
    ports.applications.activateSelf();
}

bool OrvelApp::canMonitor() const {
    return ports.keyboardTap.isAvailable();
}

void OrvelApp::allowWatching(bool isAllowed) {
    consent.allowWatching(isAllowed);
    if (isAllowed)
        monitoring.lifecycle.resume();
    else
        monitoring.lifecycle.refreshPermissions();
}

void OrvelApp::openApplication(Agent agent) {
    tasks.start(launch(agent));
}

Task<void> OrvelApp::launch(Agent agent) {
    const auto outcome = co_await DestinationAppLauncher::open(ports.applications, agent);
    if (outcome != DestinationAppLauncher::Outcome::opened)
        model.notices.fail("Couldn't open " + std::string(label(agent)) + ".");
}

void OrvelApp::allowClaudeCode(bool isAllowed) {
    model.outbox.allowClaudeCode(isAllowed);
    ports.settings.setFlag(claudeCodeKey, isAllowed);
}

void OrvelApp::showDeveloperTools(bool isShown) {
    developerTools = isShown;
    ports.settings.setFlag(developerToolsKey, isShown);
}

QuitState OrvelApp::quitState() const {
    return {.isMessageUnderWay = model.messageOperation().isUnderWay(),
            .isCheckingReceipts = model.receipts.isChecking(),
            .isSavingRecords = !model.ledger.isIdle(),
            .hasUnsavedDraft = model.ledger.hasUnsavedDraft()};
}

void OrvelApp::askToQuit(QuitAnswer answer) {
    model.ledger.flushDrafts();
    tasks.start(decide(std::move(answer)));
}

Task<void> OrvelApp::decide(QuitAnswer answer) {
    const auto deadline = ports.loop.uptime() + patience;
    auto state = quitState();
    while (decideQuit(state) == QuitDecision::wait) {
        co_await ports.loop.sleep(lookInterval);
        state = quitState();
        state.isPatienceExhausted = ports.loop.uptime() >= deadline;
    }
    const auto decision = decideQuit(state);
    if (decision == QuitDecision::allow)
        answer(std::nullopt);
    else
        answer(refusalText(decision));
}

} // namespace orvel
