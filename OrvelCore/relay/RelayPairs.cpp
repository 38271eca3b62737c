// Pairs of conversations, the transfers between them and their drafts.
#include "OrvelCore/relay/RelayState.h"

#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelayChecks.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

using Case = RelayError::Case;

RelayPair RelayState::pair(const ConversationReference& codex, const ConversationReference& claude,
                           const std::optional<RelaySpeakerContext>& speakerContext,
                           const RelayStamp& stamp) {
    require(codex.agent == Agent::codex && claude.agent == Agent::claude, Case::conversationMismatch);
    const auto existing = pairs.findIf([&](const RelayPair& pair) {
        return pair.isActive() && sameKey(pair.codex, codex) && sameKey(pair.claude, claude);
    });
    if (!existing) {
        const RelayPair created{stamp.newID(), codex, claude, std::nullopt,
                                speakerContext.value_or(RelaySpeakerContext())};
        pairs.append(created);
        return created;
    }
    if (link(existing->id)) {
        updateReferences(existing->id, codex, claude);
    } else {
        pairs.change(existing->id, [&](RelayPair& pair) {
            pair.codex = codex;
            pair.claude = claude;
        });
    }
    return *foundPair(existing->id);
}

void RelayState::updateReferences(std::string_view pairID, const ConversationReference& codex,
                                  const ConversationReference& claude) {
    const auto stored = foundPair(pairID);
    require(sameIdentity(stored->codex, codex) && sameIdentity(stored->claude, claude),
            Case::conversationMismatch);
    pairs.change(pairID, [&](RelayPair& pair) {
        pair.codex = codex;
        pair.claude = claude;
    });
    const auto holding = link(pairID);
    if (!holding) return;
    const auto refresh = [&](ConversationReference& reference) {
        for (const auto* fresh : {&codex, &claude})
            if (sameKey(reference, *fresh)) reference = *fresh;
    };
    links.change(holding->id, [&](RelayLink& link) {
        for (auto& reference : link.conversations) refresh(reference);
    });
    for (const auto& id : holding->pairIDs)
        pairs.change(id, [&](RelayPair& pair) {
            refresh(pair.codex);
            refresh(pair.claude);
        });
}

void RelayState::archivePair(std::string_view id, Date at) {
    if (const auto holding = link(id)) return archiveLink(holding->id, at);
    const auto stored = foundPair(id);
    require(!pendingTransfer(id), Case::pendingTransfer);
    require(!pendingInitial(stored->codex) && !pendingInitial(stored->claude), Case::pendingTransfer);
    if (stored->isActive()) pairs.change(id, [&](RelayPair& pair) { pair.archivedAt = at; });
}

void RelayState::restorePair(std::string_view id) {
    if (const auto holding = link(id)) return restoreLink(holding->id);
    const auto stored = foundPair(id);
    const auto rival = pairs.findIf([&](const RelayPair& pair) {
        return pair.isActive() && pair.id != id && sameKey(pair.codex, stored->codex) &&
               sameKey(pair.claude, stored->claude);
    });
    require(!rival, Case::activePairExists);
    pairs.change(id, [](RelayPair& pair) { pair.archivedAt.reset(); });
}

std::vector<Message> RelayState::preview(std::string_view pairID, Agent source,
                                         const Conversation& conversation,
                                         const std::optional<std::string>& startMessageID) const {
    checkedSource(pairID, conversation, source);
    const auto start = rangeStart(positionKey(pairID, source), conversation, startMessageID);
    return excludingIncomingQuotes(messagesFrom(conversation, start), pairID, source);
}

std::vector<Message> RelayState::selectMessages(std::string_view pairID, Agent source,
                                                const Conversation& conversation,
                                                const std::optional<std::string>& startMessageID) const {
    return preview(pairID, source, conversation, startMessageID);
}

std::vector<Message> RelayState::previewNext(std::string_view pairID, Agent source,
                                             const Conversation& conversation,
                                             const std::optional<std::string>& startMessageID) const {
    checkedSource(pairID, conversation, source);
    const auto pending = transfers.findIf([&](const RelayTransfer& transfer) {
        return transfer.isPending() && transfer.pairID == pairID && transfer.source == source;
    });
    if (!pending) return preview(pairID, source, conversation, startMessageID);
    const auto start = nextDraftStart(conversation, pending->sourceThrough, startMessageID);
    return excludingIncomingQuotes(messagesFrom(conversation, start), pairID, source);
}

RelayTransfer RelayState::prepare(const RelayTransferRequest& request, const RelayStamp& stamp) {
    const auto pairID = request.pairID;
    const auto source = request.source;
    const auto stored = checkedPair(pairID, request.destinationConversation, other(source));
    require(stored->isActive(), Case::pairArchived);
    require(!hasPendingLinkInitial(pairID), Case::pendingTransfer);
    const auto holding = link(pairID);
    if (holding)
        for (const auto& id : holding->pairIDs)
            require(id == pairID || !pendingTransfer(id), Case::pendingTransfer);
    requireSettled(request.destinationConversation);

    const auto messages = preview(pairID, source, request.sourceConversation, request.startMessageID);
    const auto instruction = trimmed(request.instruction);
    const auto label = stored->speakerLabel(source);
    auto payload = RelayFormatter::render(source, messages, instruction, label);
    require(!payload.empty(), Case::emptyTransfer);

    const auto sourceThrough = lastMessageID(request.sourceConversation);
    const auto pending = transfers.findIf(
        [&](const RelayTransfer& transfer) { return transfer.isPending() && transfer.pairID == pairID; });
    if (pending) {
        const bool isTheSame = pending->source == source && *pending->payload == payload &&
                               pending->startMessageID == request.startMessageID &&
                               pending->sourceThrough == sourceThrough;
        require(isTheSame, Case::pendingTransfer);
        return *pending;
    }

    RelayTransfer transfer;
    transfer.id = stamp.newID();
    transfer.pairID = pairID;
    transfer.source = source;
    transfer.payload = std::move(payload);
    transfer.instruction = instruction;
    transfer.sourceThrough = sourceThrough;
    transfer.destinationBefore = lastMessageID(request.destinationConversation);
    transfer.createdAt = stamp.now;
    transfer.startMessageID = request.startMessageID;
    transfer.deliveryMode = request.deliveryMode;
    transfer.assistantLabel = label;
    if (const auto* note = holding ? holding->note(stored->endpoint(source)) : nullptr)
        transfer.sourceNoteRevision = note->revision;

    // A name is promised for good as soon as a text that bears it may leave.
    auto context = speakerContextForReplacement(pairID);
    transfers.append(transfer);
    if (holdsAssistantMessage(messages)) {
        context.freeze(stored->endpoint(source), label);
        pairs.change(pairID, [&](RelayPair& pair) { pair.speakerContext = std::move(context); });
    }
    return transfer;
}

RelayDraft RelayState::draft(std::string_view pairID, Agent source) const {
    const auto* entry = drafts.find(positionKey(pairID, source));
    auto draft = entry ? *entry : RelayDraft();
    const auto stored = pairs.find(pairID);
    const auto holding = stored ? link(pairID) : nullptr;
    const auto* note = holding ? holding->note(stored->endpoint(source)) : nullptr;
    if (!note) return draft;

    draft.instruction = note->instruction;
    const auto formedBeforeNote = transfers.findIf([&](const RelayTransfer& transfer) {
        return transfer.isPending() && transfer.pairID == pairID && transfer.source == source &&
               transfer.sourceNoteRevision != note->revision;
    });
    if (formedBeforeNote) draft.nextTransfer = true;
    return draft;
}

void RelayState::setDraft(std::string_view pairID, Agent source, std::string_view instruction,
                          const std::optional<std::string>& startMessageID, bool nextTransfer) {
    const auto stored = foundPair(pairID);
    if (const auto holding = link(pairID))
        setSourceInstruction(holding->id, stored->endpoint(source), instruction);
    drafts.set(positionKey(pairID, source),
               {std::string(instruction), startMessageID, nextTransfer ? std::optional(true) : std::nullopt});
}

void RelayState::markSubmitted(std::string_view transferID) {
    require(transfers.find(transferID) != nullptr, Case::transferNotFound);
    transfers.change(transferID, [](RelayTransfer& transfer) {
        transfer.deliveryMode = RelayDeliveryMode::submitted;
        transfer.retryable = false;
    });
}

void RelayState::setRetryable(std::string_view transferID, bool retryable) {
    const auto stored = transfers.find(transferID);
    require(stored && stored->isPending(), Case::transferNotFound);
    transfers.change(transferID, [&](RelayTransfer& transfer) { transfer.retryable = retryable; });
}

RelayState::SharedPair RelayState::foundPair(std::string_view pairID) const {
    auto pair = pairs.find(pairID);
    require(pair != nullptr, Case::pairNotFound);
    return pair;
}

// The pair, if the conversation is its end on the agent's side.
RelayState::SharedPair RelayState::checkedPair(std::string_view pairID, const Conversation& conversation,
                                               Agent agent) const {
    auto pair = foundPair(pairID);
    require(conversation.source == agent && conversation.id == pair->endpoint(agent).sessionID,
            Case::conversationMismatch);
    return pair;
}

// The pair, if the conversation is its source end and nothing in it is under way.
RelayState::SharedPair RelayState::checkedSource(std::string_view pairID, const Conversation& conversation,
                                                 Agent source) const {
    auto pair = checkedPair(pairID, conversation, source);
    requireSettled(conversation);
    return pair;
}

// Whether a first message into a link of this pair is on its way.
bool RelayState::hasPendingLinkInitial(std::string_view pairID) const {
    const auto holding = link(pairID);
    return initialTransfers.findIf([&](const RelayInitialTransfer& initial) {
        if (!initial.isPending() || !initial.linkAttachment) return false;
        const auto& anchor = initial.linkAttachment->anchorPairID;
        return holding ? holding->containsPair(anchor) : anchor == pairID;
    }) != nullptr;
}

// The index at which the next transfer begins. Of the three positions only the checkpoint is excluded itself.
std::size_t RelayState::rangeStart(const std::string& position, const Conversation& conversation,
                                   const std::optional<std::string>& startMessageID) const {
    if (startMessageID) return indexOfMessage(conversation, *startMessageID);
    if (const auto* checkpoint = checkpoints.find(position))
        return indexOfMessage(conversation, *checkpoint) + 1;
    if (const auto* incoming = incomingStarts.find(position)) return indexOfMessage(conversation, *incoming);
    return 0;
}

} // namespace orvel
