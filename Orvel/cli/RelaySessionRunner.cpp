#include "Orvel/cli/RelaySessionRunner.h"

#include "Orvel/cli/CommandFailure.h"

namespace orvel {

RelaySessionRunner::RelaySessionRunner(const Places& places)
    : lock(places.dataFolder, "orvel-cli"),
      desktop(places),
      claude(desktop.loop, desktop.applications, places),
      orvel(desktop.ports(), claude.sender(), places.folders, places.statePath()) {}

void RelaySessionRunner::restore() {
    orvel.restoreRelay();
    if (const auto& error = relay().relayStorageError) throw CommandFailure("unreadableRecords", *error);
}

void RelaySessionRunner::open(const RelayPair& pair, Agent source) {
    orvel.dismissError();
    orvel.openPair(pair, source);
    settle();
    if (const auto& error = session().error.get()) throw CommandFailure("unreadableConversation", *error);
}

void RelaySessionRunner::settle() {
    if (!runUntil([this] { return orvel.isIdle(); }, patience))
        throw CommandFailure("timedOut", "It took too long. “orvel-cli pending” tells what is saved.");
}

} // namespace orvel
