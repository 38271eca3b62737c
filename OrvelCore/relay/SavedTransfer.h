#pragma once
// The right to deliver: a message that stands in the records' file.

#include "OrvelCore/relay/RelayTransfer.h"

#include <memory>
#include <utility>

namespace orvel {

/// Only the ledger makes one, of a transfer whose save has succeeded. So whoever holds one may touch the
/// destination.
class SavedTransfer {
  public:
    const RelayTransfer& operator*() const { return *transfer; }
    const RelayTransfer* operator->() const { return transfer.get(); }

  private:
    friend class RelayLedger;
    explicit SavedTransfer(std::shared_ptr<const RelayTransfer> transfer) : transfer(std::move(transfer)) {}

    std::shared_ptr<const RelayTransfer> transfer; // Never null.
};

} // namespace orvel
