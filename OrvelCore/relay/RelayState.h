#pragma once
// Everything that Orvel knows for good: which conversations are paired, what was sent, what has been proved
// to have arrived, and where the next transfer begins. A value whose copies share their records, so that
// working on a copy and adopting it later costs little.
//
// The operations are pure changes of this value. Each fails with the RelayError case that comes first in its
// order of checks, and a failed operation leaves the state as it was.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/relay/RecordList.h"
#include "OrvelCore/relay/RelayLink.h"
#include "OrvelCore/relay/RelayPair.h"
#include "OrvelCore/relay/RelayTransfer.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvel {

/// What new records are stamped with; the engine itself has neither chance nor a clock.
struct RelayStamp {
    std::function<std::string()> newID; ///< A new upper-case UUID at every call.
    Date now = 0;
};

/// What `prepare` needs. The conversations must outlive the call.
struct RelayTransferRequest {
    std::string_view pairID;
    Agent source = Agent::codex;
    const Conversation& sourceConversation;
    const Conversation& destinationConversation;
    std::string_view instruction;
    std::optional<std::string> startMessageID;
    RelayDeliveryMode deliveryMode = RelayDeliveryMode::copied;
};

/// What `prepareInitial` needs. The references must outlive the call.
struct RelayInitialRequest {
    const ConversationReference& sourceReference;
    const Conversation& conversation;
    std::string_view instruction;
    std::optional<std::string> startMessageID;
    Shared<std::vector<std::string>> existingDestinationIDs;
    RelayDeliveryMode deliveryMode = RelayDeliveryMode::copied;
    std::optional<RelaySpeakerContext> speakerContext;
    std::optional<RelayLinkAttachment> linkAttachment;
};

struct RelayState {
    RecordList<RelayPair> pairs;
    RecordList<RelayTransfer> transfers;
    RecordList<RelayInitialTransfer> initialTransfers;
    RecordList<RelayLink> links;
    RecordMap<RelayDraft> drafts; ///< This and the next two by `positionKey`.
    RecordMap<std::string>
        checkpoints; ///< The last source message that is proved to have reached the other side.
    RecordMap<std::string> incomingStarts; ///< The message in which the other side's first relay arrived.

    bool operator==(const RelayState&) const = default;

    RecordList<RelayPair> activePairs() const;
    RecordList<RelayPair> archivedPairs() const;
    RecordList<RelayLink> activeLinks() const;
    RecordList<RelayLink> archivedLinks() const;
    RecordList<RelayTransfer> pendingTransfers() const;
    RecordList<RelayInitialTransfer> pendingInitialTransfers() const;

    /// The pair's message that has not been seen in its destination, or null. Of several, as damaged records
    /// may have them, the first.
    std::shared_ptr<const RelayTransfer> pendingTransfer(std::string_view pairID) const;
    /// The pending first message from this very conversation, or null.
    std::shared_ptr<const RelayInitialTransfer> pendingInitial(const ConversationReference& source) const;

    /// The first link with this pair, or null. It stays as it is when the state changes.
    std::shared_ptr<const RelayLink> link(std::string_view containingPairID) const;

    /// The active pairs of the link that hold the conversation, in the link's order.
    std::vector<RelayPair> adjacentPairs(const RelayLink& link, const ConversationReference& reference) const;
    /// The pending transfer of the first pair of the link that has one, beside this pair, or null.
    std::shared_ptr<const RelayTransfer>
    pendingTransfer(const RelayLink& link, std::optional<std::string_view> exceptPairID = std::nullopt) const;
    /// The pending first message into this link or from one of its conversations, beside the allowed one, or
    /// null.
    std::shared_ptr<const RelayInitialTransfer>
    pendingInitial(const RelayLink& link,
                   std::optional<std::string_view> allowedInitialID = std::nullopt) const;

    // Pairs and transfers: RelayPairs.cpp

    /// The active pair of the two conversations with its references refreshed, or a new one, which gets the
    /// context. An archived pair is never revived. Fails with conversationMismatch.
    RelayPair pair(const ConversationReference& codex, const ConversationReference& claude,
                   const std::optional<RelaySpeakerContext>& speakerContext, const RelayStamp& stamp);

    /// Takes over new titles, folders and dates of the same two conversations, in the whole link. Fails with
    /// pairNotFound, conversationMismatch.
    void updateReferences(std::string_view pairID, const ConversationReference& codex,
                          const ConversationReference& claude);

    /// Closes the pair, and with it the link that holds it. Closing twice keeps the first date. Fails with
    /// invalidLink, pairNotFound, pendingTransfer.
    void archivePair(std::string_view id, Date at);

    /// Reopens the pair, and with it the link that holds it. Fails with invalidLink, pairNotFound,
    /// activePairExists.
    void restorePair(std::string_view id);

    /// What the next transfer from `source` would quote. Fails with pairNotFound, conversationMismatch, busy,
    /// ambiguousBranches, missingCheckpoint.
    std::vector<Message> preview(std::string_view pairID, Agent source, const Conversation& conversation,
                                 const std::optional<std::string>& startMessageID = std::nullopt) const;

    /// `preview` under a second name.
    std::vector<Message>
    selectMessages(std::string_view pairID, Agent source, const Conversation& conversation,
                   const std::optional<std::string>& startMessageID = std::nullopt) const;

    /// What the transfer after the pending one would quote; `preview` if none is pending from `source`. Fails
    /// alike.
    std::vector<Message> previewNext(std::string_view pairID, Agent source, const Conversation& conversation,
                                     const std::optional<std::string>& startMessageID = std::nullopt) const;

    /// Forms and stores a transfer, or gives the pending one if nothing has changed since it was formed.
    /// Fails with pairNotFound, conversationMismatch, pairArchived, pendingTransfer, busy, ambiguousBranches,
    /// missingCheckpoint, emptyTransfer.
    RelayTransfer prepare(const RelayTransferRequest& request, const RelayStamp& stamp);

    /// The draft of one side; in a link its text is the conversation's note. Never fails.
    RelayDraft draft(std::string_view pairID, Agent source) const;

    /// Stores the draft of one side, in a link also as the conversation's note. Fails with pairNotFound,
    /// conversationMismatch.
    void setDraft(std::string_view pairID, Agent source, std::string_view instruction,
                  const std::optional<std::string>& startMessageID, bool nextTransfer);

    /// Records that Orvel delivered the text, which is not yet proved. Fails with transferNotFound.
    void markSubmitted(std::string_view transferID);

    /// Says whether the failed sending of a pending transfer may be repeated. Fails with transferNotFound.
    void setRetryable(std::string_view transferID, bool retryable);

    // First messages into new conversations: RelayInitial.cpp

    /// Forms and stores a first message, or gives the pending one if nothing has changed since it was formed.
    /// Fails with conversationMismatch, busy, ambiguousBranches, missingCheckpoint, what
    /// `speakerContextForExtension` throws, linkCapacity, pendingTransfer, emptyTransfer.
    RelayInitialTransfer prepareInitial(const RelayInitialRequest& request, const RelayStamp& stamp);

    /// Makes the pair and the transfer, once the new conversation is there. Binding twice is harmless. Fails
    /// with transferNotFound, conversationMismatch, destinationAlreadyExisted, pendingTransfer, and what
    /// `attachPair` throws.
    RelayPair bindInitial(std::string_view id, const ConversationReference& destination,
                          const RelayStamp& stamp);

    /// Records that Orvel delivered the text. Fails with transferNotFound.
    void markInitialSubmitted(std::string_view id);

    /// Allows the failed sending to be repeated. Fails with transferNotFound, and pendingTransfer once it is
    /// bound.
    void markInitialRetryable(std::string_view id);

    /// Sets the text of the transfer after this one. Possible up to the receipt: fails with transferNotFound,
    /// and what `setDraft` throws.
    void setInitialNextInstruction(std::string_view id, std::string_view instruction);

    /// The same with the start of the range.
    void setInitialNextDraft(std::string_view id, std::string_view instruction,
                             const std::optional<std::string>& startMessageID);

    /// What the transfer after this one would quote. Fails with transferNotFound, conversationMismatch, busy,
    /// ambiguousBranches, missingCheckpoint.
    std::vector<Message>
    previewNextInitial(std::string_view id, const Conversation& conversation,
                       const std::optional<std::string>& startMessageID = std::nullopt) const;

    // Links: RelayLink.cpp

    /// Grows a chain, or a lone pair into one, by a conversation that is joined with the member at that end.
    /// Fails with pairNotFound, pairArchived, invalidLink, linkCapacity, duplicateLinkConversation,
    /// unsupportedAdjacentAgents, conversationMismatch, pendingTransfer, activePairExists.
    RelayLink extendLink(std::string_view fromPairID, RelayLinkEnd at, const ConversationReference& with,
                         const RelayStamp& stamp);

    /// Grows a chain, or a lone pair into one, by an active pair that touches it at that end. Fails as
    /// `extendLink`, with invalidLink for a pair that cannot join.
    RelayLink attachPair(std::string_view pairID, std::string_view to, RelayLinkEnd at,
                         const RelayStamp& stamp);

    /// Closes a link with all its pairs. Closing twice keeps the first date. Fails with invalidLink,
    /// pendingTransfer.
    void archiveLink(std::string_view id, Date at);

    /// Reopens a link with all its pairs. Fails with invalidLink, activePairExists.
    void restoreLink(std::string_view id);

    /// The conversations of the pair's link in order; of a lone pair the Claude end, then the Codex end.
    /// Fails with pairNotFound, invalidLink.
    std::vector<ConversationReference> orderedReferences(std::string_view pairID) const;

    /// The labels for a conversation that is to join the pair's link. Fails with pairNotFound, pairArchived,
    /// invalidLink.
    RelaySpeakerContext speakerContextForExtension(std::string_view pairID) const;

    /// Fails where no new conversation can join the link there behind `source`, whose first message may be
    /// `allowedInitialID`: with pairNotFound, pairArchived, invalidLink, linkCapacity, conversationMismatch,
    /// pendingTransfer.
    void requireExtensible(const RelayLinkAttachment& attachment, const ConversationReference& source,
                           std::optional<std::string_view> allowedInitialID) const;

    /// Stores the outgoing note of a member of an active link. Fails with conversationMismatch.
    void setSourceInstruction(std::string_view linkID, const ConversationReference& sourceReference,
                              std::string_view instruction);

    /// The outgoing note of a member, or "". Fails with conversationMismatch.
    std::string sourceInstruction(std::string_view linkID,
                                  const ConversationReference& sourceReference) const;

    // Receipts: RelayReceipts.cpp

    /// Looks for the transfer in the freshly read destination. True if it is received, now or before; a new
    /// receipt moves all positions of the pair. Fails with transferNotFound, pairNotFound,
    /// conversationMismatch, ambiguousBranches, missingCheckpoint.
    bool reconcile(std::string_view transferID, const Conversation& destinationConversation);

    /// Empties the link's note whose text now lives in the transfer. Fails with transferNotFound.
    void clearPreparedSourceInstruction(std::string_view transferID);

    // Speaker names and quotes: RelayText.cpp

    /// Transfers by the message in which they arrived. They live as long as this state does unchanged.
    using ReceivedRelays = std::unordered_map<std::string_view, const RelayTransfer*>;
    /// The pair's transfers that are proved to have arrived in the conversation of this side; where several
    /// arrived in one message, the newest.
    ReceivedRelays receivedRelays(std::string_view pairID, Agent side) const;

    /// The labels of a pair, for use in another one. Fails with pairNotFound.
    RelaySpeakerContext speakerContextForReplacement(std::string_view pairID) const;

  private:
    using SharedPair = std::shared_ptr<const RelayPair>;

    SharedPair foundPair(std::string_view pairID) const;
    SharedPair checkedPair(std::string_view pairID, const Conversation& conversation, Agent agent) const;
    SharedPair checkedSource(std::string_view pairID, const Conversation& conversation, Agent source) const;
    bool hasPendingLinkInitial(std::string_view pairID) const;
    std::size_t rangeStart(const std::string& position, const Conversation& conversation,
                           const std::optional<std::string>& startMessageID) const;
    std::vector<Message> excludingIncomingQuotes(std::span<const Message> messages, std::string_view pairID,
                                                 Agent source) const;

    RelayPair bindInitialUnchecked(std::string_view id, const ConversationReference& destination,
                                   const RelayStamp& stamp);
    std::shared_ptr<const RelayInitialTransfer> editableInitial(std::string_view id) const;
    void updateAttachedInitialNote(const RelayInitialTransfer& initial, std::string_view instruction);

    std::shared_ptr<const RelayLink> validatedLink(std::shared_ptr<const RelayLink> link) const;
    void requireFreeEnd(const RelayLink& row, RelayLinkEnd end, const ConversationReference& source) const;
    RelayLink extensionRow(std::string_view pairID, bool requireActive) const;
    void checkExtension(const RelayLink& link, RelayLinkEnd end, const ConversationReference& conversation,
                        std::optional<std::string_view> allowedInitialID) const;
    RelayLink attachPairUnchecked(std::string_view pairID, std::string_view to, RelayLinkEnd at,
                                  std::optional<std::string_view> allowedInitialID, const RelayStamp& stamp);

    bool mayConsumeNote(const RelayTransfer& transfer, const RelayLinkNote& note) const;
    void consumeNote(const RelayTransfer& transfer);
    void settleDraft(const RelayTransfer& transfer);
    void takeOverInitialDraft(const RelayTransfer& transfer);
};

} // namespace orvel
