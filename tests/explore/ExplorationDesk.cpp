#include "explore/ExplorationDesk.h"

#include "Orvel/model/RelayStateFile.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/text/Digest.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace orvel::explore {

namespace {

using namespace std::chrono_literals;

/// Faster than anybody types, so that some key meets every longer hold.
constexpr MainLoop::Duration betweenKeys = 23ms;
constexpr TapEvent arrowKey{.keyCode = 123};
/// Of a key that nobody takes for typing.
constexpr TapEvent releasedKey{.type = TapEventType::keyUp, .keyCode = 123};

/// Until the agents' editors are proved to be readable.
constexpr MainLoop::Duration preparing = 8s;

} // namespace

Task<void> WatchedSender::watch(Task<void> sending) {
    try {
        co_await sending;
    } catch (const RelaySendError& failure) {
        onFailure(failure);
        throw;
    }
}

OrvelProcess::OrvelProcess(SimulatedDesktop& desktop, const AgentFolders& folders,
                           const std::string& statePath, bool isMonitoring, ChatGPTAttachingWay way)
    : desktop(desktop),
      sender(desktop.ports(), history, folders),
      watched(sender),
      model(desktop.ports(), watched, folders, statePath),
      consent(model.changes(), desktop.loop, desktop.settings, desktop.ports().session),
      operations(desktop.loop),
      consultation(desktop.ports(), operations, way) {
    watched.onFailure = [](const RelaySendError&) {};
    if (!isMonitoring) {
        tap.emplace(desktop.keyboard);
        return;
    }
    monitoring.emplace(model.changes(), desktop.ports(), model.commandInbox, consent,
                       CommandMonitoringOptions{.codexFolder = folders.codex});
    monitoring->keybindings.confirm(folders.codex + "/keybindings.json");
    monitoring->start();
}

ExplorationDesk::ExplorationDesk(std::string place)
    : folder(std::move(place)),
      claude(desktop, folder + "/home/.claude/projects", folder + "/config/Claude/claude-code-sessions"),
      codex(desktop.processes, desktop.loop, "/tools/codex", folder + "/home/.codex"),
      codexApp(desktop, SampleCodexHome(folder + "/home/.codex")),
      claudeCode(desktop.processes, "/tools/claude", folder + "/home/.claude"),
      dia(desktop) {
    std::remove(relayStatePath().c_str());
    for (const auto* id : {codexSession, thirdThread}) std::remove(codexQueuePath(id).c_str());
    std::remove(archivedCodexPath().c_str());
    desktop.processes.environment["PATH"] = "/tools";
    desktop.loop.setNow(800'000'000);
    desktop.loop.setBackgroundDuration(2ms);
    desktop.files.duration = savingTime;
    CodexTranscript transcript({.id = codexSession, .workingDirectory = "/code/lark"});
    transcript.ask(std::string("Ask ") + canary).answer(std::string("Advice ") + canary);
    SimulatedFileStore::write(codexTranscriptPath(), transcript.text());
    claude.addConversation(claudeSession, destination, {std::string("q ") + canary, "a"});
    claude.addConversation("5b0d714f-0000-4000-8000-000000000003", elsewhere, {"p", "b"});
    claude.addConversation("5b0d714f-0000-4000-8000-000000000004", third, {"r", "c"});
    claude.show(destination);
    codexApp.addConversation(codexSession, std::string("Lark ") + canary);
    codexApp.addConversation(otherThread, std::string("Other ") + canary);
    desktop.pasteboard.copiedElsewhere({{{"public.utf8-plain-text", std::string("copied ") + canary},
                                         {"public.html", std::string("<b>copied</b> ") + canary}},
                                        {{"public.png", std::string("\x89PNG\0", 5)}}});
    std::filesystem::create_directories(codeFolder());
    claudeCode.addConversation(claudeCodeSession, codeFolder(), {std::string("q ") + canary, "a"});
    wireSteps();
    keepTyping();
}

ExplorationDesk::~ExplorationDesk() {
    orvel.reset();
    desktop.processes.orphanAll();
    desktop.processes.endOrphans();
    for (const auto& id : newWithCodex())
        if (const auto thread = SampleCodexHome(folder + "/home/.codex").thread(id))
            std::remove(thread->path.c_str());
    for (const auto* id : {thirdThread, twinThread}) std::remove(threadPath(id).c_str());
    std::remove(claudeRecordPath().c_str());
    std::remove(keptCommandPath().c_str());
    for (const auto& made : claude.conversations()) {
        if (made.desktopID == destination || made.desktopID == elsewhere || made.desktopID == third) continue;
        std::remove(made.transcriptPath.c_str());
        std::remove((folder + "/config/Claude/claude-code-sessions/" + made.desktopID + ".json").c_str());
    }
}

// The ports that don't know of steps themselves.
void ExplorationDesk::wireSteps() {
    desktop.files.beforeReplacing = [this](const std::string& path) {
        if (desktop.steps.take("replaceFile", true).report) throw FileError::fromErrno(EIO, "save", path);
    };
    desktop.processes.beforeStep = [this](std::string_view name) {
        SimulatedStep step{.operation = "process", .name = name, .isWrite = name == "start"};
        desktop.steps.announce(step);
        if (name == "start" && step.report)
            throw ProcessError(ProcessError::Case::launchFailed, "The program could not be started.");
    };
}

// Keys that move a cursor somewhere, and change nothing.
void ExplorationDesk::keepTyping() {
    desktop.loop.outside(betweenKeys, [this] {
        desktop.keyboard.press("", isMonitoring ? releasedKey : arrowKey);
        keepTyping();
    });
}

std::string ExplorationDesk::codexTranscriptPath() const {
    return folder + "/home/.codex/sessions/2026/11/rollout-one.jsonl";
}

std::string ExplorationDesk::archivedCodexPath() const {
    return folder + "/home/.codex/archived_sessions/rollout-one.jsonl";
}

ConversationReference ExplorationDesk::addCodexThread(const char* id, const std::string& text) const {
    CodexTranscript transcript({.id = id, .workingDirectory = "/code/lark"});
    SimulatedFileStore::write(threadPath(id), transcript.ask(text).answer("An answer").text());
    return {.agent = Agent::codex, .sessionID = id, .title = "Another", .transcriptPath = threadPath(id)};
}

void ExplorationDesk::pasteFirstMessage() {
    const auto saved = loadRelayState(relayStatePath());
    if (isPasted || !saved || saved->initialTransfers.empty()) return;
    isPasted = true;
    const auto moment = 1000 * static_cast<std::int64_t>(desktop.loop.now() + referenceDateInUnixTime);
    SampleCodexHome(folder + "/home/.codex")
        .begin(pastedThread, "/code/lark", *saved->initialTransfers.back().payload, moment)
        ->finish(moment, false);
}

std::vector<std::string> ExplorationDesk::newWithCodex() const {
    auto ids = codex.begun();
    if (isPasted) ids.emplace_back(pastedThread);
    return ids;
}

void ExplorationDesk::archiveCodexThread() {
    std::error_code isGone;
    std::filesystem::create_directories(std::filesystem::path(archivedCodexPath()).parent_path());
    std::filesystem::rename(codexTranscriptPath(), archivedCodexPath(), isGone);
}

void ExplorationDesk::restoreCodexThread() {
    std::error_code isThere;
    std::filesystem::rename(archivedCodexPath(), codexTranscriptPath(), isThere);
}

void ExplorationDesk::writeZip() {
    zipBytes = "PK CANARY repository";
    SimulatedFileStore::write(zipPath(), zipBytes);
    SimulatedFileStore::write(otherZipPath(), "PK CANARY another");
    archive = {.fileURL = zipPath(),
               .sourceFolder = folder,
               .fileCount = 1,
               .sha256 = sha256Hex({zipBytes}),
               .archiveByteCount = zipBytes.size()};
}

void ExplorationDesk::removeCodeFolder() const {
    std::filesystem::remove(codeFolder());
}

std::string ExplorationDesk::codexQueuePath(const std::string& id) const {
    return folder + "/home/.codex/sample/" + id + ".queue";
}

ConversationReference ExplorationDesk::codexReference() const {
    return {.agent = Agent::codex,
            .sessionID = codexSession,
            .title = "Lark",
            .transcriptPath = codexTranscriptPath()};
}

ConversationReference ExplorationDesk::claudeReference() const {
    if (usesClaudeCode)
        return {.agent = Agent::claude,
                .sessionID = claudeCodeSession,
                .title = "Lark",
                .transcriptPath = claudeCode.transcriptPath(claudeCodeSession),
                .workingDirectory = codeFolder()};
    return {.agent = Agent::claude,
            .sessionID = claudeSession,
            .title = "Lark",
            .transcriptPath = folder + "/home/.claude/projects/-code-lark/" + claudeSession + ".jsonl",
            .desktopSessionID = destination};
}

void ExplorationDesk::boot() {
    const auto folders = AgentFolders::of(folder + "/home", std::nullopt, std::nullopt, folder + "/config");
    const auto way = isPasting ? ChatGPTAttachingWay::paste : ChatGPTAttachingWay::openPanel;
    orvel = std::make_unique<OrvelProcess>(desktop, folders, folder + "/data/state.json", isMonitoring, way);
    orvel->archive = archive;
    orvel->question = question;
    orvel->model.outbox.allowClaudeCode(usesClaudeCode);
    perform([](OrvelProcess& started) { started.model.links.restoreRelay(); });
    perform([this](OrvelProcess& started) {
        const auto pair = started.model.workspace.relay().activePair();
        if (pair && started.model.workspace.state().source.get() != source)
            started.model.workspace.openPair(*pair, source);
    });
    if (isStarting) openSource();
    if (!isMonitoring) return;
    perform([](OrvelProcess& started) { started.model.commandInbox.restore(); });
    desktop.loop.runFor(preparing);
}

// What was typed for a source without a link ends with the process.
void ExplorationDesk::openSource() {
    if (!model().ledger.state().relayState->initialTransfers.empty()) return;
    perform([this](OrvelProcess& started) { started.model.workspace.chooseSource(claudeReference()); });
    perform([this](OrvelProcess& started) {
        started.model.workspace.setInstruction(firstNote);
        started.model.workspace.setCreationFolder(codeFolder());
    });
}

void ExplorationDesk::die() {
    dead = died = true;
    desktop.files.die();
    desktop.processes.orphanAll();
}

void ExplorationDesk::bootAgain() {
    orvel.reset();
    dead = false;
    desktop.files.startAgain();
    boot();
}

bool ExplorationDesk::perform(std::function<void(OrvelProcess&)> action) {
    bool begun = false;
    desktop.loop.post([&] {
        if (!dead) action(*orvel);
        begun = true;
    });
    return desktop.loop.runUntil([&] { return dead || (begun && isIdle()); }, 300s);
}

} // namespace orvel::explore
