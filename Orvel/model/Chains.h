#pragma once
// Links of more than two conversations: which of them speaks to which neighbour, and how such a link grows.

#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelayLink.h"
#include "OrvelCore/relay/RelayPair.h"

#include <map>
#include <optional>
#include <string>

namespace orvel {

class RelayLedger;
class Workspace;

class Chains {
  public:
    /// All of it outlives this object.
    Chains(Notices& notices, MessageOperation& operation, RelayLedger& ledger, Workspace& workspace)
        : notices(notices),
          operation(operation),
          ledger(ledger),
          workspace(workspace),
          tasks([&notices](const auto& failure) { notices.fail(failure); }) {}

    // Directions. Nothing happens while a message is under way.

    /// Opens the pair's link, unless it is open already: with the present source if the link holds it, else
    /// with the conversation from which a message waits, else with the first.
    void openSidebarLink(const RelayPair& pair);
    /// Lets the message go out from this conversation of the open link, in the direction that it took last.
    /// Without one, and with two neighbours, the person has to choose.
    void selectChainSource(const ConversationReference& reference);
    /// Lets the message go out from one conversation of the open link to its neighbour.
    void selectChainDirection(const ConversationReference& from, const ConversationReference& to);
    /// The same by the identity of an arrow between two cards, for a lone pair too.
    void chooseWorkspaceRoute(const std::string& routeID);
    /// Opens the pair of the open link whose message waits.
    void showPendingWorkspaceTransfer();
    /// The source's next message goes this way again. Kept until the program ends.
    void rememberChainDirection(const RelayPair& pair, Agent source);

    // Growth

    /// Adds a known conversation at an end of the open link, if that still holds the pair.
    void appendRelayConversation(const ConversationReference& reference, RelayLinkEnd end,
                                 const std::string& expectedPairID);
    /// Prepares the start of a new conversation at that end.
    bool beginNewRelayConversation(RelayLinkEnd end, const std::string& expectedPairID);

    /// Keeps a command's instructions for a conversation with two neighbours, and opens it for the choice
    /// between them. False if the conversation needs no choice. Throws what the records throw.
    bool prepareChainCommandContext(const std::string& note, const ConversationReference& reference);

    /// Whether nothing is being saved.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    using Guard = MessageOperation::Guard;

    void openFrom(const RelayLink& link, const ConversationReference& source);
    Task<void> append(Guard guard, ConversationReference reference, RelayLinkEnd end, std::string pairID);

    Notices& notices;
    MessageOperation& operation;
    RelayLedger& ledger;
    Workspace& workspace;
    /// "{agent}:{sessionID}" of the last destination, by link and source.
    std::map<std::string, std::string> lastDestinations;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
