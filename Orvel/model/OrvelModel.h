#pragma once
// The one central object of the application: every action of the user passes through it, and every screen
// renders it. Its operations stand in the files of their slices. It belongs to the main loop's thread.

#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/delivery/CodexRelaySender.h"
#include "Orvel/delivery/ConversationReading.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/model/PlainSession.h"
#include "Orvel/model/RelayModel.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/runtime/Observable.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/Handoff.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvel {

/// The messages that a relay would carry: the end of a loaded conversation, which is shared and not copied,
/// or messages of its own.
class SelectedMessages {
  public:
    SelectedMessages() = default;
    explicit SelectedMessages(std::vector<Message> messages)
        : own(std::make_shared<const std::vector<Message>>(std::move(messages))) {}
    SelectedMessages(SharedConversation conversation, std::size_t start)
        : conversation(std::move(conversation)), start(start) {}

    std::span<const Message> span() const {
        if (conversation) return std::span(conversation->messages).subspan(start);
        return own ? std::span(*own) : std::span<const Message>();
    }

  private:
    SharedConversation conversation;
    std::size_t start = 0;
    std::shared_ptr<const std::vector<Message>> own;
};

class OrvelModel {
    // Before the fields that notify through it.
    ChangeSignal changeSignal;

  public:
    /// `statePath` is the file of earlier positions; its folder is the data folder. The ports and the sender
    /// outlive the model.
    OrvelModel(Desktop desktop, ClaudeRelaySender& claudeSender, AgentFolders folders,
               const std::string& statePath);

    /// Told at every assignment of an observable field.
    ChangeSignal& changes() { return changeSignal; }
    const PlainSession& session() const { return plain; }
    const RelaySession& relay() const { return relays; }
    const AgentFolders& agentFolders() const { return folders; }

    /// Whether no load, discovery, delivery or check is under way. A turn that is watched does not count.
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

    /// Lets the range begin at the message with this id; without one, where the last relay ended. Does
    /// nothing while something is sent.
    void selectRange(std::optional<std::string> messageID);
    /// While a saved message is shown, the text is a note for the transfer after it. Does nothing while
    /// something is sent.
    void setInstruction(std::string text);
    SelectedMessages selectedMessages() const;
    /// The exact text that would be relayed, formed afresh.
    std::string preview() const;
    /// Whether a position of an earlier transfer stands behind the beginning of the range.
    bool startsAtCheckpoint() const;

    /// Puts the message on the clipboard; of a pair only after it has been saved. What became of it stands in
    /// `status` or `error`.
    void copy(Pasteboard& pasteboard);

    // Conversations on this machine, and the relay records (RelayModel.cpp)

    /// Reads the relay records and reopens the last pair. Does nothing once there are records.
    void restoreRelay();
    void discoverConversations();
    /// Reads the open conversation again.
    void refresh();
    /// The one entry for a conversation that the user picks: a destination if the source is of the other
    /// agent, else a new source.
    void chooseEndpoint(const ConversationReference& reference);
    void chooseSource(const ConversationReference& reference);
    void newLink();
    /// Opens an active pair, with the message going out from `source`. Does nothing while something is sent.
    void openPair(const RelayPair& pair, Agent source);
    /// Puts the saved message on the clipboard once more.
    void copyPendingTransfer(Pasteboard& pasteboard);

    // Links (RelayLinks.cpp)

    /// Forms or reopens the pair of the open source and this conversation of the other agent.
    void connectDestination(const ConversationReference& reference);
    /// The active pairs that hold the conversation.
    std::vector<RelayPair> activeLinks(const ConversationReference& reference) const;
    void openSidebarLink(const RelayPair& pair);

    // What follows from the records (RelayPresentation.cpp)

    std::shared_ptr<const RelayPair> activePair() const;
    /// The saved message of the open pair that has not been seen in its destination.
    std::shared_ptr<const RelayTransfer> pendingTransfer() const;
    /// Whether a saved message of this side is shown.
    bool editingSavedTransfer() const;
    bool noteIsForNextTransfer() const;
    /// The text of the saved message that is shown.
    std::optional<std::string> previousCopy() const;
    std::optional<ConversationReference> cardReference(Agent agent) const;
    std::string speakerLabel(Agent agent) const;
    std::string speakerTitle(Agent agent) const;
    std::string sourceSpeakerLabel() const;
    std::string pairLabel(const RelayPair& pair) const;
    std::optional<std::string> nextPreviewError() const;
    std::optional<std::string> nextRangeDescription() const;
    bool mayRetry(const RelayTransfer& transfer) const;
    bool canSendRelay() const;
    std::string primaryActionTitle() const;
    bool hasClaudePendingDraft() const;
    /// What the delivery into Claude that is under way is at, in words; changes without notice.
    std::optional<std::string> deliveryStage() const;

    // Sending (RelaySending.cpp)

    /// Saves the message of the open pair and delivers it, or delivers the saved one again where that may be.
    void sendRelay();
    /// Presses Send on the saved message that an earlier attempt left in Claude's editor.
    void submitExistingClaudeDraft();
    /// Told what a look at the open pair's editor in Claude came to, without content.
    using Completion = std::function<void(const std::string&)>;
    /// Looks at the editor, with Claude in front for as long as that takes. Does nothing without a pair.
    void diagnoseRelayComposer(Completion completion);
    /// Since when, as uptime, each Codex turn is watched; by session identifier.
    const std::map<std::string, MainLoop::Duration>& watchedTurns() const {
        return codexSender.watchedTurns();
    }

    // Receipts (RelayReceipts.cpp)

    /// Looks for the pending messages in their destinations. One pass runs at a time, none during a send.
    void checkRelayReceipts();
    /// Checks every two seconds from now on.
    void startReceiptPolling();

    /// Clears the error that is shown.
    void dismissError();

  private:
    std::optional<std::string> checkpointKey() const;
    void setSource(Agent source);
    void restoreDestinationConversation();
    void selectUnsentRange();
    Generation::Value beginLoad();
    Task<SharedConversation> readWhole(std::string path, Agent source);
    Task<void> loadFile(std::string path, Agent source, Generation::Value generation);
    Task<void> recognizeAndLoad(std::string path, Generation::Value generation);
    void finishLoad(const SharedConversation& loaded, const std::string& path, Agent source);
    void recordRecent(const Conversation& loaded, const std::string& path, Agent source);

    void copyPlain(Pasteboard& pasteboard);
    SelectedMessages newSelection() const;

    RelayStamp stamp() const;
    /// Makes the state the one in the file and then in memory. Throws RelaySendError, FileError,
    /// RelayStateError; then both are as they were.
    void saveRelay(RelayState state);
    /// Saves what `change` makes of the state; if either throws, nothing has changed.
    template <typename Change>
    void changeRelay(Change change) {
        RelayState working = relays.relayState;
        change(working);
        saveRelay(std::move(working));
    }
    void saveCurrentDraft();
    void showDraft(const RelayDraft& draft);
    bool isBusyWithMessage() const { return relays.isPreparing || relays.isSending; }
    /// The revisions of everything from which the selected messages follow.
    using SelectionBasis = std::array<std::uint64_t, 7>;
    mutable std::optional<std::pair<SelectionBasis, SelectedMessages>> selection;
    std::vector<Message> nextTransferMessages(const Conversation& conversation) const;
    Task<SharedConversation> checkedSource(ConversationReference reference);
    Task<void> copyRelay(Pasteboard& pasteboard);

    void openExistingSourceLink(const RelayPair& pair, const ConversationReference& expectedSource);

    Task<void> send(RelayPair pair, Agent source);
    Task<std::optional<RelayTransfer>> prepareRetry(RelayPair pair, RelayTransfer transfer);
    Task<std::optional<RelayTransfer>> prepareNew(RelayPair pair, Agent source);
    void requireSelection(const RelayPair& pair, Agent source, Generation::Value generation) const;
    void validateSavedRetry(const RelayTransfer& transfer, const RelayPair& pair,
                            const Conversation& conversation) const;
    void beginDelivery(const std::string& transferID);
    Task<void> deliver(RelayPair pair, RelayTransfer transfer);
    Task<void> deliverToClaude(ConversationReference destination, RelayTransfer transfer);
    Task<bool> isReceived(std::string transferID, ConversationReference destination, RelayState state);
    void adoptDelivered(const RelayPair& pair, const RelayTransfer& transfer);
    void noteFailure(const std::string& transferID, const std::string& text);
    void forgetFailure(const std::string& transferID);
    void recordFailure(const std::string& transferID, const std::string& text, bool canRetry);
    void setRelayRetryable(const std::string& transferID, bool retryable);

    /// What the user sees and could change while a draft is being submitted.
    struct ShownSelection {
        std::optional<std::string> pairID;
        Generation::Value load = 0, edit = 0;
        Agent source = Agent::codex;
        std::string instruction;
        std::optional<std::string> startMessageID;

        bool operator==(const ShownSelection&) const = default;
    };
    ShownSelection shownSelection() const;
    Task<void> submitDraft(RelayPair pair, RelayTransfer transfer);
    Task<bool> isReceivedAsShown(const ShownSelection& kept, std::string transferID,
                                 ConversationReference destination);
    Task<bool> settleIfReceived(std::string transferID, ConversationReference destination, bool wasSubmitted);
    Task<void> diagnose(ConversationReference reference, Completion completion);

    void pollReceipts();
    Task<void> receiptPass();
    void mergeReadings(const ConversationReading::Readings& readings);
    void takeReceipts(const ConversationReading::Readings& readings);
    void refreshUnpairedBusySource();
    Task<void> refreshBusySource(ConversationReference reference);

    void showFailure(const std::exception_ptr& failure);

    void showReading(const SharedConversation& loaded, const ConversationReference& reference);
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
    RelayStateFile relayFile;
    ConversationReading reading;
    /// The reading in which each pending message was last looked for in vain.
    std::map<std::string, SharedConversation> searchedForReceipt;
    CodexRelaySender codexSender;
    ClaudeRelaySender& claudeSender;
    TaskScope tasks; // Last: ends before what its work uses.
};

} // namespace orvel
