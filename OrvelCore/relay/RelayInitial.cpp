// First messages into conversations that do not exist yet.
#include "OrvelCore/relay/RelayState.h"

#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelayChecks.h"
#include "OrvelCore/relay/RelayTransaction.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

using Case = RelayError::Case;

namespace {

void requireSameConversation(const Conversation& conversation, const ConversationReference& reference) {
    require(conversation.source == reference.agent && conversation.id == reference.sessionID,
            Case::conversationMismatch);
}

RelayTransfer transferFrom(const RelayInitialTransfer& initial, const std::string& pairID) {
    RelayTransfer transfer;
    transfer.id = initial.id;
    transfer.pairID = pairID;
    transfer.source = initial.sourceReference.agent;
    transfer.payload = initial.payload;
    transfer.instruction = initial.instruction;
    transfer.sourceThrough = initial.sourceThrough;
    transfer.createdAt = initial.createdAt;
    transfer.startMessageID = initial.startMessageID;
    transfer.deliveryMode = initial.deliveryMode;
    transfer.assistantLabel = initial.assistantLabel;
    transfer.sourceNoteRevision = initial.sourceNoteRevision;
    return transfer;
}

} // namespace

RelayInitialTransfer RelayState::prepareInitial(const RelayInitialRequest& request, const RelayStamp& stamp) {
    const auto& source = request.sourceReference;
    const auto& attachment = request.linkAttachment;
    requireSameConversation(request.conversation, source);
    requireSettled(request.conversation);
    const auto start =
        request.startMessageID ? indexOfMessage(request.conversation, *request.startMessageID) : 0;
    const auto messages = messagesFrom(request.conversation, start);
    const auto instruction = trimmed(request.instruction);
    auto context = request.speakerContext.value_or(RelaySpeakerContext());
    std::optional<std::int64_t> noteRevision;
    if (attachment) {
        const auto row = extensionRow(attachment->anchorPairID, true);
        requireFreeEnd(row, attachment->end, source);
        const auto* note = row.note(source);
        noteRevision = note ? note->revision : 0;
    }

    const auto label = context.label(source);
    auto payload = RelayFormatter::render(source.agent, messages, instruction, label);
    require(!payload.empty(), Case::emptyTransfer);
    const auto sourceThrough = lastMessageID(request.conversation);
    const auto pending = initialTransfers.findIf([&](const RelayInitialTransfer& initial) {
        return initial.isPending() && sameKey(initial.sourceReference, source);
    });
    if (pending) {
        const bool isTheSame =
            *pending->payload == payload && pending->startMessageID == request.startMessageID &&
            pending->sourceThrough == sourceThrough && pending->linkAttachment == attachment;
        require(isTheSame, Case::pendingTransfer);
        return *pending;
    }
    require(!attachment || !hasPendingLinkInitial(attachment->anchorPairID), Case::pendingTransfer);
    if (holdsAssistantMessage(messages)) context.freeze(source, label);

    RelayInitialTransfer initial;
    initial.id = stamp.newID();
    initial.sourceReference = source;
    initial.destinationAgent = other(source.agent);
    initial.payload = std::move(payload);
    initial.instruction = instruction;
    initial.sourceThrough = sourceThrough;
    initial.startMessageID = request.startMessageID;
    initial.existingDestinationIDs = request.existingDestinationIDs;
    initial.createdAt = stamp.now;
    initial.deliveryMode = request.deliveryMode;
    initial.speakerContext = std::move(context);
    initial.assistantLabel = label;
    initial.linkAttachment = attachment;
    initial.sourceNoteRevision = noteRevision;
    initialTransfers.append(initial);
    return initial;
}

RelayPair RelayState::bindInitial(std::string_view id, const ConversationReference& destination,
                                  const RelayStamp& stamp) {
    return onCopy(*this, [&](RelayState& copy) { return copy.bindInitialUnchecked(id, destination, stamp); });
}

RelayPair RelayState::bindInitialUnchecked(std::string_view id, const ConversationReference& destination,
                                           const RelayStamp& stamp) {
    const auto initial = initialTransfers.find(id);
    require(initial != nullptr, Case::transferNotFound);
    require(destination.agent == initial->destinationAgent, Case::conversationMismatch);
    if (initial->boundPairID) {
        const auto bound = pairs.find(*initial->boundPairID);
        require(bound != nullptr, Case::conversationMismatch);
        const auto& end = bound->endpoint(destination.agent);
        require(sameKey(end, destination) && end.transcriptPath == destination.transcriptPath,
                Case::conversationMismatch);
        return *bound;
    }
    const auto& existing = *initial->existingDestinationIDs;
    require(std::find(existing.begin(), existing.end(), destination.id()) == existing.end(),
            Case::destinationAlreadyExisted);
    const bool isFromCodex = initial->sourceReference.agent == Agent::codex;
    const auto& codex = isFromCodex ? initial->sourceReference : destination;
    const auto& claude = isFromCodex ? destination : initial->sourceReference;
    const auto joined = pairs.findIf([&](const RelayPair& pair) {
        return pair.isActive() && sameKey(pair.codex, codex) && sameKey(pair.claude, claude);
    });
    require(!joined, Case::pendingTransfer);

    const auto made = pair(codex, claude, initial->speakerContext, stamp);
    transfers.append(transferFrom(*initial, made.id));
    initialTransfers.change(id, [&](RelayInitialTransfer& bound) {
        bound.boundPairID = made.id;
        bound.retryable = false;
    });
    if (const auto& attachment = initial->linkAttachment)
        attachPairUnchecked(made.id, attachment->anchorPairID, attachment->end, id, stamp);
    return *foundPair(made.id);
}

void RelayState::markInitialSubmitted(std::string_view id) {
    const auto initial = initialTransfers.find(id);
    require(initial != nullptr, Case::transferNotFound);
    if (!initial->isPending()) markSubmitted(id);
    initialTransfers.change(id, [](RelayInitialTransfer& submitted) {
        submitted.deliveryMode = RelayDeliveryMode::submitted;
        submitted.retryable = false;
    });
}

void RelayState::markInitialRetryable(std::string_view id) {
    const auto initial = initialTransfers.find(id);
    require(initial != nullptr, Case::transferNotFound);
    require(initial->isPending(), Case::pendingTransfer); // From binding on the transfer governs.
    initialTransfers.change(id, [](RelayInitialTransfer& failed) { failed.retryable = true; });
}

void RelayState::setInitialNextInstruction(std::string_view id, std::string_view instruction) {
    const auto initial = editableInitial(id);
    onCopy(*this, [&](RelayState& copy) {
        copy.initialTransfers.change(
            id, [&](RelayInitialTransfer& edited) { edited.nextInstruction = instruction; });
        copy.updateAttachedInitialNote(*initial, instruction);
    });
}

void RelayState::setInitialNextDraft(std::string_view id, std::string_view instruction,
                                     const std::optional<std::string>& startMessageID) {
    const auto initial = editableInitial(id);
    onCopy(*this, [&](RelayState& copy) {
        copy.initialTransfers.change(id, [&](RelayInitialTransfer& edited) {
            edited.nextInstruction = instruction;
            edited.nextStartMessageID = startMessageID;
        });
        copy.updateAttachedInitialNote(*initial, instruction);
    });
}

std::vector<Message> RelayState::previewNextInitial(std::string_view id, const Conversation& conversation,
                                                    const std::optional<std::string>& startMessageID) const {
    const auto initial = editableInitial(id);
    requireSameConversation(conversation, initial->sourceReference);
    requireSettled(conversation);
    const auto messages =
        messagesFrom(conversation, nextDraftStart(conversation, initial->sourceThrough, startMessageID));
    return {messages.begin(), messages.end()};
}

// The note for the next transfer can be edited up to the receipt and not after it.
std::shared_ptr<const RelayInitialTransfer> RelayState::editableInitial(std::string_view id) const {
    auto initial = initialTransfers.find(id);
    require(initial != nullptr, Case::transferNotFound);
    if (!initial->isPending()) {
        const auto transfer = transfers.find(id);
        require(transfer && transfer->isPending(), Case::transferNotFound);
    }
    return initial;
}

// An initial transfer that joins a link shares its next note with it.
void RelayState::updateAttachedInitialNote(const RelayInitialTransfer& initial,
                                           std::string_view instruction) {
    if (!initial.linkAttachment) return;
    const auto& anchor = initial.linkAttachment->anchorPairID;
    const auto& source = initial.sourceReference;
    if (const auto holding = link(anchor)) return setSourceInstruction(holding->id, source, instruction);
    const auto old = draft(anchor, source.agent);
    setDraft(anchor, source.agent, instruction, old.startMessageID, old.isForNextTransfer());
}

} // namespace orvel
