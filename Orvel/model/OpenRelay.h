#pragma once
// What follows from the workspace and the relay records: the open pair, its pending message, the messages and
// the text that would go out. Changes nothing.

#include "Orvel/model/LedgerState.h"
#include "Orvel/model/WorkspaceState.h"

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

/// What a conversation whose text says "claude 2" is called for the person: "Claude 2".
std::string titleOfSpeaker(Agent agent, const std::string& speaker);

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

class OpenRelay {
  public:
    /// Both outlive this object, and it is always true of what they hold now.
    OpenRelay(const WorkspaceState& workspace, const LedgerState& records)
        : workspace(workspace), records(records) {}

    /// The open pair, or null.
    std::shared_ptr<const RelayPair> activePair() const;
    /// The saved message of the open pair that has not been seen in its destination, or null.
    std::shared_ptr<const RelayTransfer> pendingTransfer() const;
    /// The open first message into a conversation that is not known yet, or null.
    std::shared_ptr<const RelayInitialTransfer> activeInitial() const;
    /// The first message whose next note is shown: the open one, or one that was bound to the open pair and
    /// has no receipt yet.
    std::shared_ptr<const RelayInitialTransfer> pendingInitialDraft() const;
    /// Whether a saved message of this side is shown.
    bool editingSavedTransfer() const;
    bool noteIsForNextTransfer() const;
    /// Whether the saved message of this side no longer follows from its source, as far as that is known.
    bool sourceWentOn() const;
    /// The text of the saved message that is shown.
    std::optional<std::string> previousCopy() const;
    /// Whether the saved message goes to Claude, in whose editor an earlier attempt may have left it.
    bool hasClaudePendingDraft() const;

    // The open link

    /// The chain that holds the open pair, or null.
    std::shared_ptr<const RelayLink> activeChain() const;
    /// The conversations of the open link in their order; none without a pair.
    std::vector<ConversationReference> orderedRelayConversations() const;
    /// The pair of the open link that joins these two, or null.
    std::shared_ptr<const RelayPair> chainPair(const ConversationReference& from,
                                               const ConversationReference& to) const;
    /// Whether the message goes out from the one to the other.
    bool selectedChainRoute(const ConversationReference& from, const ConversationReference& to) const;
    /// Whether another pair of the open link has a message that waits, so that none may go out here.
    bool otherChainTransferPending() const;
    /// What the conversation of the open link is called for the person.
    std::string chainSpeakerTitle(const ConversationReference& reference) const;

    std::optional<ConversationReference> cardReference(Agent agent) const;
    std::string speakerLabel(Agent agent) const;
    std::string speakerTitle(Agent agent) const;
    std::string sourceSpeakerLabel() const;
    /// What the primary action is called.
    std::string primaryActionTitle() const;

    SelectedMessages selectedMessages() const;
    /// Why there are none, if the history that the last transfer ended in is gone.
    std::optional<std::string> lostPosition() const;
    /// What the transfer after the saved one would quote. Throws RelayError.
    std::vector<Message> nextTransferMessages(const Conversation& conversation) const;
    /// The exact text that would be relayed, formed afresh.
    std::string preview() const;
    /// Whether a position of an earlier transfer stands behind the beginning of the range.
    bool startsAtCheckpoint() const;
    /// The key of this source and destination among the positions of earlier versions.
    std::optional<std::string> checkpointKey() const;
    /// Why the range of the next transfer can't be shown.
    std::optional<std::string> nextPreviewError() const;
    std::optional<std::string> nextRangeDescription() const;

  private:
    struct Selection {
        SelectedMessages messages;
        std::optional<std::string> lostPosition;
    };

    Selection newSelection() const;
    const Selection& currentSelection() const;
    bool isOutdated() const;

    /// The revisions of everything from which the selected messages follow.
    using SelectionBasis = std::array<std::uint64_t, 10>;
    SelectionBasis selectionBasis() const;

    const WorkspaceState& workspace;
    const LedgerState& records;
    mutable std::optional<std::pair<SelectionBasis, Selection>> selection;
    mutable std::optional<std::pair<SelectionBasis, bool>> outdated;
};

} // namespace orvel
