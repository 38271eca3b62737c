#include "Orvel/model/OrvelModel.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"

#include <utility>

namespace orvel {

namespace {

// Far above what the positions of a lifetime need, in bytes.
constexpr std::size_t maximumPositionsSize = 67'108'864;

HandoffState positionsIn(const std::string& path, Notices& notices) {
    if (!fileExists(path)) return {};
    try {
        return HandoffState::decode(readFile(path, maximumPositionsSize));
    } catch (const std::exception& failure) {
        notices.fail(std::string("Couldn't load the last transfer position. Check the message range.\n") +
                     failure.what());
        return {};
    }
}

std::string beside(const std::string& statePath, std::string_view name) {
    return joinedPath(parentFolder(statePath), name);
}

} // namespace

OrvelModel::OrvelModel(const Desktop& desktop, ClaudeRelaySender& claudeSender, AgentFolders folders,
                       const std::string& statePath)
    : loop(desktop.loop),
      notices(changeSignal),
      ledger(changeSignal, notices, desktop.loop, desktop.files, beside(statePath, "relay-state.json")),
      catalogue(changeSignal, notices, desktop.loop, desktop.files, std::move(folders),
                beside(statePath, "recent-conversations.json")),
      readings(changeSignal),
      reader(desktop.loop, desktop.processes, catalogue.agentFolders().home),
      operation(changeSignal),
      workspace(changeSignal,
                {notices, operation, ledger, catalogue, reader, readings, desktop.loop, desktop.panels,
                 desktop.processes},
                positionsIn(statePath, notices)),
      messageSearch(changeSignal, notices, desktop.loop, readings, workspace.state()),
      chains(notices, operation, ledger, workspace),
      links(notices, operation, ledger, workspace, chains),
      outbox(changeSignal,
             {notices, operation, ledger, workspace, reader, desktop.loop, desktop.processes,
              desktop.applications, claudeSender},
             catalogue.agentFolders()),
      newConversations(changeSignal,
                       {notices, operation, ledger, workspace, chains, outbox, reader, desktop.loop,
                        desktop.processes, desktop.panels, desktop.applications, claudeSender},
                       catalogue.agentFolders()),
      receipts(changeSignal, {notices, operation, outbox.state(), ledger, workspace, reader, readings,
                              catalogue, desktop.loop}),
      commandInbox({notices, operation, ledger, catalogue, reader, workspace, chains, links, outbox,
                    desktop.loop, desktop.applications, desktop.files},
                   beside(statePath, "captured-command")) {
    catalogue.onDiscovered = [this] { workspace.recognizeSource(); };
    workspace.onLoaded = [this] {
        commandInbox.finishCommandRelayIntent();
        receipts.checkRelayReceipts();
    };
    receipts.onLooked = [this](const ReceiptLook& look) { outbox.takeReceipts(look); };
    outbox.onDelivered = [this](const RelayPair& pair, Agent destination) {
        chains.rememberChainDirection(pair, destination);
    };
    outbox.onDone = [this] { receipts.checkRelayReceipts(); };
    newConversations.onDone = [this] { receipts.checkRelayReceipts(); };
}

ModelView OrvelModel::view() const {
    auto turns = outbox.watchedTurns();
    turns.insert(newConversations.watchedTurns().begin(), newConversations.watchedTurns().end());
    return {notices,           ledger.state(),        catalogue.state(), readings,
            workspace.state(), workspace.relay(),     outbox.state(),    newConversations.state(),
            std::move(turns),  receipts.isChecking(), loop.now()};
}

void OrvelModel::send() {
    if (workspace.relay().activePair())
        outbox.sendRelay();
    else
        newConversations.startNewRelay();
}

void OrvelModel::copy(Pasteboard& pasteboard) {
    if (!workspace.relay().activePair() && workspace.state().sourceReference)
        newConversations.copyInitial(pasteboard);
    else
        outbox.copy(pasteboard);
}

bool OrvelModel::isIdle() const {
    return ledger.isIdle() && catalogue.isIdle() && workspace.isIdle() && messageSearch.isIdle() &&
           chains.isIdle() && links.isIdle() && outbox.isIdle() && newConversations.isIdle() &&
           receipts.isIdle() && commandInbox.isIdle();
}

} // namespace orvel
