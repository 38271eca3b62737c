#pragma once
// A conversation that does not exist yet: its first message is saved, and the conversation is begun with it.

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

class ConversationStart {
  public:
    /// Locks the data folder. The references outlive this object.
    ConversationStart(const Arguments& arguments, const Places& places, Output& output,
                      const Stylist& stylist);

    /// Each throws Failure, or Interrupted behind words on standard error; both say what became of the
    /// message.
    void begin();
    /// Begins the conversation of a saved first message again, where that is safe.
    void retry();

  private:
    void chooseFolder(Agent agent);
    void prepare(const ConversationReference& source);
    void start();
    CommandFailure whyNotBegun() const;
    void report();

    std::shared_ptr<const RelayInitialTransfer> initial() const;
    /// Of the first message, once its conversation is known.
    std::shared_ptr<const RelayTransfer> transfer() const;
    bool isReceived() const;
    TransferStanding standing() const;
    std::string situation() const;

    const Arguments& arguments;
    Output& output;
    RelaySessionRunner runner;
    StepTeller steps;
    std::optional<std::string> initialID;   ///< Of the first message that was saved before.
    std::optional<std::size_t> countBefore; ///< How many there were before the one that is saved.
};

} // namespace orvel
