#pragma once
// What is handed to Orvel from outside its window: commands that were typed in an agent's editor, and URLs.
// Their conversation is identified exactly or not at all, their instructions become the note of its link, and
// one message may go out on its own: where the link has proved itself, and nothing has changed meanwhile.
//
// A typed command has been removed from its editor by then, so that Orvel has the only copy of the
// instructions: they are placed, or told in the failure.

#include "Orvel/model/ConversationReadings.h"
#include "Orvel/runtime/Generation.h"
#include "Orvel/runtime/Task.h"
#include "Orvel/runtime/Turns.h"
#include "OrvelCore/commands/CapturedCommand.h"
#include "OrvelCore/conversations/Handoff.h"
#include "OrvelCore/relay/RelayPair.h"
#include "OrvelCore/relay/RelayTransfer.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class Applications;
class Catalogue;
class Chains;
class FileStore;
class MessageOperation;
class Notices;
class Outbox;
class RelayLedger;
class RelayLinkManagement;
class Workspace;

/// What an inbox works with; all of it outlives the inbox.
struct CommandInboxNeeds {
    Notices& notices;
    const MessageOperation& operation;
    RelayLedger& ledger;
    const Catalogue& catalogue;
    ConversationReader& reader;
    Workspace& workspace;
    Chains& chains;
    const RelayLinkManagement& links;
    Outbox& outbox;
    MainLoop& loop;
    Applications& applications;
    FileStore& files;
};

class CommandInbox {
  public:
    /// `keptPath` is the file of the command that is being worked off.
    CommandInbox(const CommandInboxNeeds& needs, std::string keptPath);

    /// Puts the command on the disk, since nobody else has its instructions once it is removed from its
    /// editor. To be awaited before that; throws FileError, and then it must not be removed.
    Task<void> keep(const CapturedCommand& captured);
    /// Tells the instructions that an earlier run kept and did not place, once nothing is being loaded.
    void restore();

    /// Commands are worked off in their order. One that was not removed, or that anything stands against, is
    /// placed and not sent.
    void receiveInterceptedCommand(CapturedCommand captured);

    /// The one conversation with Codex that has this identifier, proved to be readable. Throws
    /// ConversationCatalogError, RelayError, and what reading throws.
    Task<ConversationReference> resolveCopiedCodex(std::string id);

    /// A URL that was handed to the application. It never sends anything.
    void open(std::string_view url);

    /// To be told that a load has ended: sends what waited for it, if everything is as it was.
    void finishCommandRelayIntent();

    /// Whether nothing is being identified.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    // One automatic send that waits for its conversation to be loaded. Whatever opens something else, and
    // every edit, makes it stale.
    struct RelayIntent {
        std::string pairID;
        ConversationReference source;
        Generation::Value load = 0, edit = 0;
        std::string instruction;
        std::optional<std::string> startMessageID;
    };

    /// What nothing may have followed until a command is placed, for it to be sent.
    struct Moment {
        Generation::Value arrival = 0, edit = 0;
    };

    Task<void> receive(CapturedCommand captured, Moment moment);
    Task<void> tellKept();
    Task<void> forgetKept();
    Task<void> receiveIdentifiedHandoff(HandoffRequest request);
    Task<ConversationReference> identify(Agent source, CapturedConversationIdentity identity);
    Task<ConversationReference> resolveHandoff(HandoffRequest request);

    void applyIdentifiedCommand(const std::string& instruction, const ConversationReference& reference,
                                bool sendsAutomatically);
    bool placeBehindInitial(const std::string& instruction, const ConversationReference& reference);
    void appendNextNote(const RelayInitialTransfer& initial, const std::string& instruction);
    void placeInPair(const std::string& instruction, const RelayPair& pair,
                     const ConversationReference& reference, bool sendsAutomatically);
    void placeInSource(const std::string& instruction, const ConversationReference& reference,
                       bool hasSeveralLinks);
    void prepareCommandRelayIntent(const RelayPair& pair, const ConversationReference& reference);
    bool isAsIntended(const RelayIntent& intent) const;
    void requireFreedom() const;
    void requireLoad(Generation::Value load) const;
    void fail(const std::string& complaint, const std::string& instruction, char separator = '\n');

    CommandInboxNeeds needs;
    std::string keptPath;
    std::optional<RelayIntent> intent;
    Generation arrivals; ///< Renewed by everything that is handed over.
    Turns turns;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
