#pragma once
// Joins two conversations, finds again what joins them already, and closes and reopens links.

#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelayPair.h"

#include <string>
#include <vector>

namespace orvel {

class Chains;
class RelayLedger;
class Workspace;

class RelayLinkManagement {
  public:
    /// All of it outlives this object.
    RelayLinkManagement(Notices& notices, MessageOperation& operation, RelayLedger& ledger,
                        Workspace& workspace, Chains& chains)
        : notices(notices),
          operation(operation),
          ledger(ledger),
          workspace(workspace),
          chains(chains),
          tasks([&notices](const auto& failure) { notices.fail(failure); }) {}

    /// Reads the relay records and reopens the last first message that waits, or else the last link, unless
    /// something else is open by then. Does nothing once there are records.
    void restoreRelay();

    /// The one entry for a conversation that the person picks: the one that an open first message has
    /// founded; else a destination if the source is of the other agent; else a new source.
    void chooseEndpoint(const ConversationReference& reference);
    /// Forms or reopens the pair of the open source and this conversation of the other agent, or lets it join
    /// the link that is being extended.
    void connectDestination(const ConversationReference& reference);
    /// Takes the conversation for the one that the open first message has founded.
    void bindInitialDestination(const ConversationReference& reference);
    /// The active pairs that hold the conversation.
    std::vector<RelayPair> activeLinks(const ConversationReference& reference) const;
    /// Whether the pair's link may be closed now.
    bool canArchiveLink(const RelayPair& pair) const;
    /// Closes the pair's link; all of it is kept.
    void archiveLink(const RelayPair& pair);
    /// Reopens the pair's link, and shows it.
    void restoreLink(const RelayPair& pair);

    /// Whether nothing is being read or saved.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Guard = MessageOperation::Guard;

    Task<void> restore();
    Task<void> connect(Guard guard, ConversationReference source, ConversationReference destination);
    Task<void> bind(Guard guard, std::string initialID, ConversationReference destination);
    Task<void> archive(Guard guard, std::string pairID, bool isOpen);
    Task<void> reopen(Guard guard, std::string pairID);
    void openExistingSourceLink(const std::string& pairID, const ConversationReference& expectedSource);

    Notices& notices;
    MessageOperation& operation;
    RelayLedger& ledger;
    Workspace& workspace;
    Chains& chains;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
