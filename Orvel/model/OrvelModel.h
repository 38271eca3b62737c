#pragma once
// The one central object of the application: every action of the user passes through it, and every screen
// renders it. Its operations stand in the files of their slices. It belongs to the main loop's thread.

#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/PlainSession.h"
#include "Orvel/model/RelayModel.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/Handoff.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orvel {

/// The messages that a relay would carry: the end of a loaded conversation, which is shared and not copied,
/// or one message of pasted text.
class SelectedMessages {
  public:
    SelectedMessages() = default;
    explicit SelectedMessages(Message pasted) : pasted(std::move(pasted)) {}
    SelectedMessages(SharedConversation conversation, std::size_t start)
        : conversation(std::move(conversation)), start(start) {}

    std::span<const Message> span() const {
        if (conversation) return std::span(conversation->messages).subspan(start);
        return pasted ? std::span(&*pasted, 1) : std::span<const Message>();
    }

  private:
    SharedConversation conversation;
    std::size_t start = 0;
    std::optional<Message> pasted;
};

class OrvelModel {
    // Before the fields that notify through it.
    ChangeSignal changeSignal;

  public:
    /// `statePath` is the file of earlier positions; its folder is the data folder. The ports outlive the
    /// model.
    OrvelModel(Desktop desktop, AgentFolders folders, const std::string& statePath);

    /// Told at every assignment of an observable field.
    ChangeSignal& changes() { return changeSignal; }
    const PlainSession& session() const { return plain; }
    const RelaySession& relay() const { return relays; }
    const AgentFolders& agentFolders() const { return folders; }

    /// Whether no load and no discovery is under way.
    bool isIdle() const { return tasks.isIdle(); }

    // Opening a source (PlainSession.cpp)

    /// A URL that was handed to the application.
    void open(std::string_view url);
    void apply(const HandoffRequest& request);
    /// Asks the user for a file of the source agent and loads it.
    void chooseFile();
    /// Loads a transcript of the source agent.
    void load(std::string path);
    /// Loads a transcript of either agent, whose format is recognised; in doubt it is read as one of the
    /// source agent.
    void openFile(std::string path);
    void openRecent(const RecentConversation& recent);
    void removeRecent(std::string_view id);
    /// Leaves the open conversation for pasted text.
    void useManualInput();
    void setManualText(std::string text);

    // Selection and text (PlainSession.cpp)

    /// Lets the range begin at the message with this id; without one, at the first message.
    void selectRange(std::optional<std::string> messageID);
    void setInstruction(std::string text);
    /// The agents' own word for the speaker of assistant messages.
    std::string sourceSpeakerLabel() const;
    SelectedMessages selectedMessages() const;
    /// The exact text that would be relayed, formed afresh.
    std::string preview() const;
    /// Whether a position of an earlier transfer stands behind the beginning of the range.
    bool startsAtCheckpoint() const;

    /// Puts the preview on the clipboard; false, with `error`, if that could not be done.
    bool copy(Pasteboard& pasteboard);

    // Conversations on this machine (RelayModel.cpp)

    void discoverConversations();
    /// Reads the open conversation again.
    void refresh();
    void chooseSource(const ConversationReference& reference);
    void newLink();
    /// The reference of the source's card, if the open conversation has one.
    std::optional<ConversationReference> cardReference() const;

    /// Clears the error that is shown.
    void dismissError();

  private:
    std::optional<std::string> checkpointKey() const;
    void setSource(Agent source);
    void restoreDestinationConversation();
    void selectUnsentRange();
    Generation::Value beginLoad();
    Task<void> loadFile(std::string path, Agent source, Generation::Value generation);
    Task<void> recognizeAndLoad(std::string path, Generation::Value generation);
    void finishLoad(const SharedConversation& loaded, const std::string& path, Agent source);
    void recordRecent(const Conversation& loaded, const std::string& path, Agent source);

    void loadRelayReference(const ConversationReference& reference);
    Task<void> loadReference(ConversationReference reference, Generation::Value generation);
    Task<void> discover();
    std::optional<ConversationReference> catalogEntry(Agent agent, std::string_view sessionID,
                                                      std::string_view path) const;

    Desktop desktop;
    AgentFolders folders;
    PlainSession plain;
    RelaySession relays;
    RecentConversationsStore recentStore;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
