#pragma once
// What is open in the window, and how it comes to be open: a file, a URL, pasted text, a conversation of the
// catalogue, or one side of a pair; and the range and the note that the person chooses.

#include "Orvel/model/ConversationReadings.h"
#include "Orvel/model/OpenRelay.h"
#include "Orvel/model/WorkspaceState.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/RecentConversationsStore.h"
#include "OrvelCore/relay/RelayPair.h"
#include "OrvelCore/relay/RelayTransfer.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace orvel {

class Catalogue;
class MessageOperation;
class Notices;
class Panels;
class Processes;
class RelayLedger;

/// What a workspace works with; all of it outlives the workspace.
struct WorkspaceNeeds {
    Notices& notices;
    const MessageOperation& operation;
    RelayLedger& ledger;
    Catalogue& catalogue;
    ConversationReader& reader;
    ConversationReadings& readings;
    MainLoop& loop;
    Panels& panels;
    Processes& processes;
};

class Workspace {
  public:
    /// What the person is told where a message would hold something else than was shown.
    static constexpr auto rangeChanged = "The conversation changed. Review the latest message range.";

    Workspace(const ChangeSignal& changes, const WorkspaceNeeds& needs, HandoffState positions);

    const WorkspaceState& state() const { return held; }
    /// What follows from this state and the records.
    const OpenRelay& relay() const { return derived; }

    /// Told when a conversation has been loaded by its reference, or could not be, and when the person asks
    /// for a fresh look at an open pair.
    std::function<void()> onLoaded = [] {};

    // Opening a source

    /// What was handed to the application, whose conversation nobody identifies.
    void apply(const HandoffRequest& request);
    /// Asks the person for a file of the source agent and loads it.
    void chooseFile();
    /// Loads a transcript of the source agent.
    void load(std::string path);
    /// Loads a transcript of either agent, whose format is recognised; in doubt it is read as one of the
    /// source agent.
    void openFile(std::string path);
    void openRecent(const RecentConversation& recent);
    /// Leaves the open conversation for pasted text.
    void useManualInput();
    void setManualText(std::string text);
    /// Leaves everything, for a new link. Does nothing while a message is under way.
    void newLink();
    /// Opens the conversation as a source, or the first message that waits to go out from it.
    void chooseSource(const ConversationReference& reference);
    /// Opens an active pair, with the message going out from `source`. Does nothing while a message is under
    /// way.
    void openPair(const RelayPair& pair, Agent source);
    /// Opens a first message whose conversation is not known yet. Does nothing while a message is under way.
    void openInitial(const RelayInitialTransfer& initial);
    /// If this first message is what is open, and has founded its conversation, turns to that; gives the
    /// pair, or null.
    std::shared_ptr<const RelayPair> openFounded(const std::string& initialID);
    /// Leaves it open to which neighbour of the open source the message goes.
    void leaveDestinationOpen() { held.chainDestinationUnselected = true; }
    /// What the open source is to begin a new conversation with.
    struct NewConversation {
        ConversationReference source;
        std::optional<RelaySpeakerContext> speakerContext;
        std::optional<RelayLinkAttachment> attachment;
        RelayDraft draft;
    };
    /// Leaves what is open for a conversation that does not exist yet. Does nothing while a message is under
    /// way.
    void prepareNewConversation(const NewConversation& wanted);
    void setCreationFolder(std::string folder) { held.creationFolder = std::move(folder); }
    /// A first message stands in the records, and is what is open now.
    void adoptInitial(const std::string& initialID) { held.selectedInitialID = initialID; }
    /// Reads the open conversation again.
    void refresh();
    /// Looks whether the reply has ended in a busy source that belongs to no pair.
    void refreshUnpairedBusySource();
    /// Finds the open file's reference, now that the catalogue is new.
    void recognizeSource();

    // Range and note

    /// Lets the range begin at the message with this id; without one, where the last relay ended. Does
    /// nothing while a message is under way.
    void selectRange(std::optional<std::string> messageID);
    /// While a saved message is shown, the text is a note for the transfer after it. Does nothing while a
    /// message is under way.
    void setInstruction(std::string text);
    void showDraft(const RelayDraft& draft);
    /// The same, and keeps it as if the person had typed it.
    void keepDraft(const RelayDraft& draft);
    /// What was typed for a source without a pair stands elsewhere now.
    void forgetUnlinkedDraft(const ConversationReference& source);
    /// The note has gone into a saved message.
    void clearInstruction() { held.instruction = ""; }

    // What others found out about what is open

    /// Reads the open source afresh. Throws what reading throws, and RelaySendError if it is not what the
    /// person has seen, who sees it then.
    Task<SharedConversation> checkedSource(ConversationReference reference);
    /// A fresh reading of the open source; another range than the one shown may follow from it.
    void showReading(SharedConversation fresh);
    /// Notes what a plain copy put on the clipboard.
    void recordCopy(std::string text);

    /// Whether nothing is being loaded.
    bool isIdle() const { return tasks.isIdle(); }

  private:
    void setSource(Agent source);
    void leaveRelay();
    void restoreDestinationConversation();
    void selectUnsentRange();
    void saveCurrentDraft();
    RelayDraft shownDraft(const std::string& pairID, Agent source) const;

    Generation::Value beginLoad();
    Task<SharedConversation> readWhole(std::string path, Agent source);
    Task<void> loadFile(std::string path, Agent source, Generation::Value generation);
    Task<void> recognizeAndLoad(std::string path, Generation::Value generation);
    void finishLoad(const SharedConversation& loaded, const std::string& path, Agent source);
    void loadRelayReference(const ConversationReference& reference);
    Task<void> loadReference(ConversationReference reference, Generation::Value generation);
    Task<void> refreshBusySource(ConversationReference reference);
    void showLoaded(const SharedConversation& loaded, const ConversationReference& reference);
    void lookForWriter(const ConversationReference& reference);
    Task<void> lookForClaudeCode(std::string sessionID);

    WorkspaceNeeds needs;
    WorkspaceState held;
    OpenRelay derived;
    bool isRefreshingBusySource = false;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
