#include "Orvel/cli/RelaySessionRunner.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/ConversationArgument.h"

namespace orvel {

RelaySessionRunner::RelaySessionRunner(const Places& places)
    : lock(places.dataFolder, "orvel-cli"),
      desktop(places),
      claude(desktop.ports(), attempts, places.folders),
      orvel(desktop.ports(), claude, places.folders, places.statePath()) {}

void RelaySessionRunner::restore() {
    tasks.start(orvel.ledger.restoreRelay());
    settle();
    if (const auto& error = orvel.ledger.state().relayStorageError)
        throw CommandFailure("unreadableRecords", *error);
}

ConversationReference RelaySessionRunner::findConversation(const std::string& id,
                                                           std::optional<Agent> agent) {
    orvel.catalogue.discoverConversations();
    settle();
    return referenceNamed(id, agent, orvel.catalogue.state().catalog.get());
}

void RelaySessionRunner::open(const RelayPair& pair, Agent source) {
    orvel.notices.dismissError();
    orvel.workspace.openPair(pair, source);
    settle();
    if (error()) throw CommandFailure("unreadableConversation", *error());
}

void RelaySessionRunner::settle() {
    if (!runUntil([this] { return orvel.isIdle() && tasks.isIdle(); }, patience))
        throw CommandFailure("timedOut", "It took too long. “orvel-cli pending” tells what is saved.");
}

void RelaySessionRunner::awaitReceipt(const std::function<bool()>& isReceived, MainLoop::Duration limit) {
    orvel.receipts.checkRelayReceipts();
    orvel.receipts.startReceiptPolling(std::chrono::milliseconds(100));
    runUntil(isReceived, limit);
}

} // namespace orvel
