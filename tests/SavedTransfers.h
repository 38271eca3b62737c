#pragma once
// Messages as senders get them: saved, as only the ledger does it.

#include "Orvel/model/Notices.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/platform/simulated/SimulatedFileStore.h"
#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "TemporaryFolder.h"

namespace orvel {

inline Task<void> saveTransfer(RelayLedger& ledger, RelayTransfer transfer) {
    const auto add = [&](RelayState& state) {
        state.pairs.append(RelayPair{transfer.pairID,
                                     {.agent = Agent::codex, .sessionID = "codex"},
                                     {.agent = Agent::claude, .sessionID = "claude"}});
        state.transfers.append(transfer);
    };
    co_await ledger.change(add);
}

/// A message with this text that stands on a disk of its own.
inline SavedTransfer savedTransfer(std::string payload,
                                   std::optional<std::string> destinationBefore = std::nullopt) {
    const auto folder = TemporaryFolder::quick();
    SimulatedLoop loop;
    SimulatedFileStore files(loop);
    ChangeSignal changes;
    Notices notices(changes);
    RelayLedger ledger(changes, notices, loop, files, folder.path("relay-state.json"));
    TaskScope tasks;
    RelayTransfer transfer{.id = "T", .pairID = "P"};
    transfer.payload = std::move(payload);
    transfer.destinationBefore = std::move(destinationBefore);
    tasks.start(saveTransfer(ledger, std::move(transfer)));
    loop.run();
    return ledger.saved("T");
}

} // namespace orvel
