#pragma once
// The JSON keys of every relay record, in the order of writing: one table a record, for reading and writing
// alike. A field of an optional type is an optional key. Only the JSON sources include this.

#include "OrvelCore/relay/RelayState.h"

#include <string_view>
#include <tuple>

namespace orvel {

template <typename Record, typename Value>
struct RecordField {
    std::string_view key;
    Value Record::*member;
    bool mayBeMissing = false; ///< A missing key leaves the member as it is.
};

template <typename Record, typename Value>
RecordField(std::string_view, Value Record::*) -> RecordField<Record, Value>;
template <typename Record, typename Value>
RecordField(std::string_view, Value Record::*, bool) -> RecordField<Record, Value>;

/// The table of a record; not defined for other types.
template <typename Record>
inline constexpr auto fieldsOf = nullptr;

template <typename Record>
concept TabledRecord = !std::is_same_v<std::remove_cv_t<decltype(fieldsOf<Record>)>, std::nullptr_t>;

template <>
inline constexpr auto fieldsOf<ConversationReference> = std::tuple{
    RecordField{"agent", &ConversationReference::agent},
    RecordField{"sessionID", &ConversationReference::sessionID},
    RecordField{"title", &ConversationReference::title},
    RecordField{"transcriptPath", &ConversationReference::transcriptPath},
    RecordField{"workingDirectory", &ConversationReference::workingDirectory},
    RecordField{"modifiedAt", &ConversationReference::modifiedAt},
    RecordField{"desktopSessionID", &ConversationReference::desktopSessionID},
};

template <>
inline constexpr auto fieldsOf<RelaySpeakerContext> = std::tuple{
    RecordField{"frozenLabels", &RelaySpeakerContext::frozenLabels},
    RecordField{"usedLabels", &RelaySpeakerContext::usedLabels},
};

template <>
inline constexpr auto fieldsOf<RelayPair> = std::tuple{
    RecordField{"id", &RelayPair::id},
    RecordField{"codex", &RelayPair::codex},
    RecordField{"claude", &RelayPair::claude},
    RecordField{"archivedAt", &RelayPair::archivedAt},
    RecordField{"speakerContext", &RelayPair::speakerContext},
};

template <>
inline constexpr auto fieldsOf<RelayDraft> = std::tuple{
    RecordField{"instruction", &RelayDraft::instruction},
    RecordField{"startMessageID", &RelayDraft::startMessageID},
    RecordField{"nextTransfer", &RelayDraft::nextTransfer},
};

template <>
inline constexpr auto fieldsOf<RelayTransfer> = std::tuple{
    RecordField{"id", &RelayTransfer::id},
    RecordField{"pairID", &RelayTransfer::pairID},
    RecordField{"source", &RelayTransfer::source},
    RecordField{"payload", &RelayTransfer::payload},
    RecordField{"instruction", &RelayTransfer::instruction},
    RecordField{"sourceThrough", &RelayTransfer::sourceThrough},
    RecordField{"destinationBefore", &RelayTransfer::destinationBefore},
    RecordField{"createdAt", &RelayTransfer::createdAt},
    RecordField{"status", &RelayTransfer::status},
    RecordField{"receivedMessageID", &RelayTransfer::receivedMessageID},
    RecordField{"startMessageID", &RelayTransfer::startMessageID},
    RecordField{"deliveryMode", &RelayTransfer::deliveryMode},
    RecordField{"retryable", &RelayTransfer::retryable},
    RecordField{"assistantLabel", &RelayTransfer::assistantLabel},
    RecordField{"sourceNoteRevision", &RelayTransfer::sourceNoteRevision},
};

template <>
inline constexpr auto fieldsOf<RelayLinkAttachment> = std::tuple{
    RecordField{"anchorPairID", &RelayLinkAttachment::anchorPairID},
    RecordField{"end", &RelayLinkAttachment::end},
};

template <>
inline constexpr auto fieldsOf<RelayInitialTransfer> = std::tuple{
    RecordField{"id", &RelayInitialTransfer::id},
    RecordField{"sourceReference", &RelayInitialTransfer::sourceReference},
    RecordField{"destinationAgent", &RelayInitialTransfer::destinationAgent},
    RecordField{"payload", &RelayInitialTransfer::payload},
    RecordField{"instruction", &RelayInitialTransfer::instruction},
    RecordField{"sourceThrough", &RelayInitialTransfer::sourceThrough},
    RecordField{"startMessageID", &RelayInitialTransfer::startMessageID},
    RecordField{"existingDestinationIDs", &RelayInitialTransfer::existingDestinationIDs},
    RecordField{"createdAt", &RelayInitialTransfer::createdAt},
    RecordField{"deliveryMode", &RelayInitialTransfer::deliveryMode},
    RecordField{"boundPairID", &RelayInitialTransfer::boundPairID},
    RecordField{"retryable", &RelayInitialTransfer::retryable},
    RecordField{"nextInstruction", &RelayInitialTransfer::nextInstruction},
    RecordField{"nextStartMessageID", &RelayInitialTransfer::nextStartMessageID},
    RecordField{"speakerContext", &RelayInitialTransfer::speakerContext},
    RecordField{"assistantLabel", &RelayInitialTransfer::assistantLabel},
    RecordField{"linkAttachment", &RelayInitialTransfer::linkAttachment},
    RecordField{"sourceNoteRevision", &RelayInitialTransfer::sourceNoteRevision},
};

template <>
inline constexpr auto fieldsOf<RelayLinkNote> = std::tuple{
    RecordField{"instruction", &RelayLinkNote::instruction},
    RecordField{"revision", &RelayLinkNote::revision},
};

template <>
inline constexpr auto fieldsOf<RelayLink> = std::tuple{
    RecordField{"id", &RelayLink::id},
    RecordField{"conversations", &RelayLink::conversations},
    RecordField{"pairIDs", &RelayLink::pairIDs},
    RecordField{"speakerContext", &RelayLink::speakerContext},
    RecordField{"archivedAt", &RelayLink::archivedAt},
    RecordField{"sourceNotes", &RelayLink::sourceNotes},
};

// Files from before links and initial transfers existed lack some of these keys. What is large and grows at
// its end stands first, so that two documents of a history begin alike (RelayStateDocument).
template <>
inline constexpr auto fieldsOf<RelayState> = std::tuple{
    RecordField{"transfers", &RelayState::transfers, true},
    RecordField{"initialTransfers", &RelayState::initialTransfers, true},
    RecordField{"pairs", &RelayState::pairs, true},
    RecordField{"links", &RelayState::links, true},
    RecordField{"checkpoints", &RelayState::checkpoints, true},
    RecordField{"incomingStarts", &RelayState::incomingStarts, true},
    RecordField{"drafts", &RelayState::drafts, true},
};

} // namespace orvel
