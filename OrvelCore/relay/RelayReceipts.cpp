// The proof that a transfer arrived, and how the positions of its pair move on then.
#include "OrvelCore/relay/RelayState.h"

#include "OrvelCore/relay/RelayChecks.h"
#include "OrvelCore/relay/RelayText.h"
#include "OrvelCore/relay/RelayTransaction.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

namespace orvel {

using Case = RelayError::Case;

namespace {

// The user's message that proves the transfer: its text is the payload, and it stands behind the message that
// was the last one at preparation. An older identical text never passes as a delivery.
const Message* findReceipt(const RelayTransfer& transfer, const Conversation& destination) {
    const auto start =
        transfer.destinationBefore ? indexOfMessage(destination, *transfer.destinationBefore) + 1 : 0;
    const ReceiptMatcher payload(*transfer.payload, destination.source);
    const auto candidates = messagesFrom(destination, start);
    const auto receipt = std::find_if(candidates.begin(), candidates.end(), [&](const Message& message) {
        return message.role == "user" && payload.matches(message.text);
    });
    return receipt == candidates.end() ? nullptr : &*receipt;
}

// Whether a text the user prepared is what the transfer carried.
bool isCarried(std::string_view text, const RelayTransfer& transfer) {
    return trimmed(text) == transfer.instruction;
}

} // namespace

bool RelayState::reconcile(std::string_view transferID, const Conversation& destinationConversation) {
    const auto transfer = transfers.find(transferID);
    require(transfer != nullptr, Case::transferNotFound);
    checkedPair(transfer->pairID, destinationConversation, other(transfer->source));
    if (!transfer->isPending()) return true;
    require(!destinationConversation.hasAmbiguousBranches, Case::ambiguousBranches);
    const auto* receipt = findReceipt(*transfer, destinationConversation);
    if (!receipt) return false;

    onCopy(*this, [&](RelayState& copy) {
        copy.transfers.change(transferID, [&](RelayTransfer& received) {
            received.status = RelayTransfer::Status::received;
            received.retryable = false;
            received.receivedMessageID = receipt->id;
        });
        if (transfer->sourceThrough)
            copy.checkpoints.set(positionKey(transfer->pairID, transfer->source), *transfer->sourceThrough);
        copy.consumeNote(*transfer);
        copy.settleDraft(*transfer);
        copy.takeOverInitialDraft(*transfer);
        const auto incoming = positionKey(transfer->pairID, other(transfer->source));
        if (!copy.checkpoints.contains(incoming) && !copy.incomingStarts.contains(incoming))
            copy.incomingStarts.set(incoming, receipt->id);
    });
    return true;
}

// Empties the link's note that went out with the transfer, unless it was edited since.
void RelayState::consumeNote(const RelayTransfer& transfer) {
    const auto holding = link(transfer.pairID);
    if (!holding) return;
    const auto stored = foundPair(transfer.pairID);
    const auto& source = stored->endpoint(transfer.source);
    const auto* note = holding->note(source);
    const auto initial = initialTransfers.find(transfer.id);
    if (!note || !mayConsumeNote(transfer, *note) || (initial && initial->nextInstruction)) return;

    links.change(holding->id, [&](RelayLink& link) {
        link.sourceNotes[source.id()] = {"", nextRevision(note->revision)};
    });
    const auto position = positionKey(transfer.pairID, transfer.source);
    const auto* entry = drafts.find(position);
    const auto old = entry ? *entry : RelayDraft();
    if (old.startMessageID == transfer.startMessageID && !old.isForNextTransfer())
        drafts.set(position, RelayDraft());
}

// Whether the note is the one that went into the transfer.
bool RelayState::mayConsumeNote(const RelayTransfer& transfer, const RelayLinkNote& note) const {
    return transfer.sourceNoteRevision == note.revision &&
           (note.instruction.empty() || isCarried(note.instruction, transfer));
}

// Clears the draft that went out. One that was meant for the transfer after this one becomes the current one,
// and one that was edited meanwhile stays.
void RelayState::settleDraft(const RelayTransfer& transfer) {
    const auto position = positionKey(transfer.pairID, transfer.source);
    const auto* stored = drafts.find(position);
    if (!stored) return;
    auto draft = *stored;
    if (draft.isForNextTransfer()) {
        draft.nextTransfer.reset();
        drafts.set(position, draft);
    } else if (draft.startMessageID == transfer.startMessageID && isCarried(draft.instruction, transfer)) {
        drafts.set(position, RelayDraft());
    }
}

// What the user wrote for the next transfer while the first message was on its way becomes the draft of the
// new pair.
void RelayState::takeOverInitialDraft(const RelayTransfer& transfer) {
    const auto initial = initialTransfers.find(transfer.id);
    if (!initial || !initial->nextInstruction) return;
    drafts.set(positionKey(transfer.pairID, transfer.source),
               {*initial->nextInstruction, initial->nextStartMessageID, std::nullopt});
    initialTransfers.change(transfer.id, [](RelayInitialTransfer& bound) {
        bound.nextInstruction.reset();
        bound.nextStartMessageID.reset();
    });
}

void RelayState::clearPreparedSourceInstruction(std::string_view transferID) {
    const auto transfer = transfers.find(transferID);
    const auto stored = transfer ? pairs.find(transfer->pairID) : nullptr;
    require(stored != nullptr, Case::transferNotFound);
    const auto holding = link(transfer->pairID);
    const auto& source = stored->endpoint(transfer->source);
    const auto* note = holding ? holding->note(source) : nullptr;
    if (!note || !mayConsumeNote(*transfer, *note)) return;
    // The revision stays, so that the receipt still recognises the note.
    links.change(holding->id, [&](RelayLink& link) { link.sourceNotes[source.id()] = {"", note->revision}; });
}

} // namespace orvel
