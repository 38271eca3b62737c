#pragma once
// Joins two conversations, and finds again what joins them already.

#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelayPair.h"

#include <string>
#include <vector>

namespace orvel {

class RelayLedger;
class Workspace;

class RelayLinkManagement {
  public:
    /// All of it outlives this object.
    RelayLinkManagement(Notices& notices, MessageOperation& operation, RelayLedger& ledger,
                        Workspace& workspace)
        : notices(notices),
          operation(operation),
          ledger(ledger),
          workspace(workspace),
          tasks([&notices](const auto& failure) { notices.fail(failure); }) {}

    /// Reads the relay records and reopens the last pair, unless something else is open by then. Does nothing
    /// once there are records.
    void restoreRelay();

    /// The one entry for a conversation that the person picks: a destination if the source is of the other
    /// agent, else a new source.
    void chooseEndpoint(const ConversationReference& reference);
    /// Forms or reopens the pair of the open source and this conversation of the other agent.
    void connectDestination(const ConversationReference& reference);
    /// The active pairs that hold the conversation.
    std::vector<RelayPair> activeLinks(const ConversationReference& reference) const;
    /// Opens an active pair with the message going out from the agent that is the source now.
    void openSidebarLink(const RelayPair& pair);
    /// Turns the relay round: opens the pair with the message going out from the route's first card. Does
    /// nothing while something is sent or loaded.
    void chooseWorkspaceRoute(const std::string& routeID);

    /// Whether nothing is being read or saved.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Guard = MessageOperation::Guard;

    Task<void> restore();
    Task<void> connect(Guard guard, ConversationReference source, ConversationReference destination);
    void openExistingSourceLink(const RelayPair& pair, const ConversationReference& expectedSource);

    Notices& notices;
    MessageOperation& operation;
    RelayLedger& ledger;
    Workspace& workspace;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
