#include "Orvel/shell/OrvelApp.h"

#include "Orvel/consultation/ArchiveStaging.h"
#include "Orvel/delivery/DestinationAppLauncher.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/DesktopSession.h"
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

// Another program's open panel can be read on a Mac only.
ChatGPTAttachingWay attachingWay(const DesktopSession& session) {
    return session.kind == SessionKind::guarded ? ChatGPTAttachingWay::openPanel : ChatGPTAttachingWay::paste;
}

} // namespace

OrvelApp::OrvelApp(const Desktop& ports, const AgentFolders& folders, const std::string& statePath,
                   ClockStyle clock, const std::string& version)
    : ports(ports),
      clockStyle(clock),
      claude(ports, attempts, folders),
      chatGPTOperations(ports.loop),
      chatGPT(ports, chatGPTOperations, attachingWay(ports.session)),
      model(ports, claude, folders, statePath),
      consultation(model.changes(), {.ports = {ports.loop, ports.processes, ports.zipArchives},
                                     .panels = ports.panels,
                                     .operations = chatGPTOperations,
                                     .sender = chatGPT,
                                     .home = folders.home,
                                     .outputDirectory = ArchiveStaging::usualOutputFolder}),
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
    return {.isWorkUnderWay = model.messageOperation().isUnderWay() || consultation.isBusy(),
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
