#pragma once
// One message on its way from one side of a link to the other, told step by step.

#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/RelaySessionRunner.h"
#include "Orvel/cli/StepTeller.h"
#include "Orvel/model/TransferStanding.h"

#include <memory>
#include <optional>
#include <string>

namespace orvel {

class Output;
class Stylist;

class RelayDelivery {
  public:
    /// Locks the data folder. The references outlive this object.
    RelayDelivery(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);

    /// Each throws Failure, or Interrupted behind words on standard error; both say what became of the
    /// message.
    void send();
    void retry();

  private:
    void prepareNew(const RelayPair& pair);
    void deliver();
    CommandFailure whyNotReceived(bool isDelivered) const;
    void report();

    std::shared_ptr<const RelayTransfer> transfer() const;
    TransferStanding standing() const;
    /// Whether the destination may have the message, or get it yet.
    bool mayArrive() const;
    bool isReceived() const;
    std::string situation() const;

    const Arguments& arguments;
    Output& output;
    RelaySessionRunner runner;
    StepTeller steps;
    std::optional<std::string> transferID;  ///< Of the message that is retried.
    std::optional<std::size_t> countBefore; ///< How many transfers there were before the one that is sent.
};

} // namespace orvel
