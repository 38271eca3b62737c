#include "Orvel/model/OpenRelay.h"

#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/relay/RelayRetry.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

std::shared_ptr<const RelayPair> OpenRelay::activePair() const {
    const auto& id = workspace.selectedPairID.get();
    if (!id) return nullptr;
    auto pair = records.relayState->pairs.find(*id);
    return pair && pair->isActive() ? pair : nullptr;
}

std::shared_ptr<const RelayTransfer> OpenRelay::pendingTransfer() const {
    const auto& id = workspace.selectedPairID.get();
    if (!id) return nullptr;
    return records.relayState->pendingTransfer(*id);
}

std::shared_ptr<const RelayInitialTransfer> OpenRelay::activeInitial() const {
    const auto& id = workspace.selectedInitialID.get();
    if (!id) return nullptr;
    auto initial = records.relayState->initialTransfers.find(*id);
    return initial && initial->isPending() ? initial : nullptr;
}

std::shared_ptr<const RelayInitialTransfer> OpenRelay::pendingInitialDraft() const {
    if (auto initial = activeInitial()) return initial;
    const auto pending = pendingTransfer();
    if (!pending || pending->source != workspace.source) return nullptr;
    return records.relayState->initialTransfers.find(pending->id);
}

bool OpenRelay::editingSavedTransfer() const {
    if (workspace.chainDestinationUnselected) return false;
    if (activeInitial()) return true;
    const auto pending = pendingTransfer();
    return pending && pending->source == workspace.source;
}

bool OpenRelay::noteIsForNextTransfer() const {
    if (const auto initial = pendingInitialDraft()) return records.nextDraft(*initial).isForNextTransfer();
    return activePair() && editingSavedTransfer() &&
           records.draft(*workspace.selectedPairID.get(), workspace.source).isForNextTransfer();
}

std::optional<std::string> OpenRelay::previousCopy() const {
    if (workspace.chainDestinationUnselected) return std::nullopt;
    if (const auto pending = pendingTransfer()) return *pending->payload;
    const auto initial = activeInitial();
    return initial ? std::optional(*initial->payload) : std::nullopt;
}

bool OpenRelay::hasClaudePendingDraft() const {
    const auto pending = pendingTransfer();
    return activePair() && pending && pending->source == Agent::codex;
}

std::shared_ptr<const RelayLink> OpenRelay::activeChain() const {
    const auto pair = activePair();
    return pair ? records.relayState->link(pair->id) : nullptr;
}

std::vector<ConversationReference> OpenRelay::orderedRelayConversations() const {
    const auto pair = activePair();
    if (!pair) return {};
    try {
        return records.relayState->orderedReferences(pair->id);
    } catch (const RelayError&) {
        return {};
    }
}

std::shared_ptr<const RelayPair> OpenRelay::chainPair(const ConversationReference& from,
                                                      const ConversationReference& to) const {
    const auto chain = activeChain();
    if (!chain || from.agent == to.agent) return nullptr;
    for (const auto& pair : records.relayState->adjacentPairs(*chain, from))
        if (sameIdentity(pair.endpoint(to.agent), to)) return std::make_shared<const RelayPair>(pair);
    return nullptr;
}

bool OpenRelay::selectedChainRoute(const ConversationReference& from, const ConversationReference& to) const {
    const auto pair = activePair();
    return pair && !workspace.chainDestinationUnselected && workspace.sourceReference &&
           sameIdentity(*workspace.sourceReference, from) &&
           sameIdentity(pair->endpoint(other(from.agent)), to);
}

bool OpenRelay::otherChainTransferPending() const {
    const auto pair = activePair();
    const auto chain = activeChain();
    if (!chain) return false;
    const auto& state = records.relayState.get();
    return state.pendingTransfer(*chain, pair->id) || state.pendingInitial(*chain);
}

std::string OpenRelay::chainSpeakerTitle(const ConversationReference& reference) const {
    if (const auto chain = activeChain())
        return titleOfSpeaker(reference.agent, chain->speakerContext.label(reference));
    return speakerTitle(reference.agent);
}

std::optional<ConversationReference> OpenRelay::cardReference(Agent agent) const {
    if (const auto pair = activePair()) return pair->endpoint(agent);
    const auto& reference = workspace.sourceReference;
    return reference && reference->agent == agent ? reference : std::nullopt;
}

std::string OpenRelay::speakerLabel(Agent agent) const {
    if (const auto pair = activePair()) return pair->speakerLabel(agent);
    const auto reference = cardReference(agent);
    if (const auto initial = activeInitial(); initial && reference) return initial->speakerLabel(*reference);
    // A conversation that is still to be made gets the first label that is free.
    if (const auto& context = workspace.replacementSpeakerContext)
        return context->label(reference.value_or(ConversationReference{.agent = agent}));
    return std::string(rawValue(agent));
}

std::string titleOfSpeaker(Agent agent, const std::string& speaker) {
    const auto word = rawValue(agent);
    std::string title(label(agent));
    if (speaker != word && speaker.size() > word.size()) title += speaker.substr(word.size());
    return title;
}

std::string OpenRelay::speakerTitle(Agent agent) const {
    return titleOfSpeaker(agent, speakerLabel(agent));
}

std::string OpenRelay::sourceSpeakerLabel() const {
    if (editingSavedTransfer() && !noteIsForNextTransfer()) {
        const auto pending = pendingTransfer();
        const auto initial = activeInitial();
        const auto saved = pending   ? pending->assistantLabel
                           : initial ? initial->assistantLabel
                                     : std::nullopt;
        return saved.value_or(std::string(rawValue(workspace.source)));
    }
    return speakerLabel(workspace.source);
}

std::string OpenRelay::primaryActionTitle() const {
    if (editingSavedTransfer()) return "Retry saved message";
    if (!activePair() && workspace.sourceReference)
        return std::string("Start in ").append(label(workspace.destination));
    return "Send to " + speakerTitle(workspace.destination);
}

OpenRelay::SelectionBasis OpenRelay::selectionBasis() const {
    return {workspace.selectedPairID.revision(),
            records.relayState.revision(),
            records.unsavedDrafts.revision(),
            workspace.conversation.revision(),
            workspace.source.revision(),
            workspace.selectedStartMessageID.revision(),
            workspace.startIndex.revision(),
            workspace.manualText.revision(),
            workspace.selectedInitialID.revision(),
            workspace.chainDestinationUnselected.revision()};
}

// Asked at every rendering; the text is formed once.
bool OpenRelay::sourceWentOn() const {
    const auto basis = selectionBasis();
    if (!outdated || outdated->first != basis) outdated.emplace(basis, isOutdated());
    return outdated->second;
}

bool OpenRelay::isOutdated() const {
    const auto pending = pendingTransfer();
    const auto& conversation = workspace.conversation.get();
    const bool isKnown = pending && pending->source == workspace.source && conversation;
    if (!isKnown || conversation->isBusy) return false;
    try {
        return !isPreparedAgain(*pending, records.relayState, *conversation);
    } catch (const RelayError&) {
        return true;
    }
}

// The choice among ten thousand messages is made once, not at each look.
const OpenRelay::Selection& OpenRelay::currentSelection() const {
    const auto basis = selectionBasis();
    if (!selection || selection->first != basis) selection.emplace(basis, newSelection());
    return selection->second;
}

SelectedMessages OpenRelay::selectedMessages() const {
    return currentSelection().messages;
}

std::optional<std::string> OpenRelay::lostPosition() const {
    return currentSelection().lostPosition;
}

OpenRelay::Selection OpenRelay::newSelection() const {
    if (workspace.chainDestinationUnselected) return {};
    const auto& conversation = workspace.conversation.get();
    const auto pair = activePair();
    const bool isForNext = noteIsForNextTransfer();
    if (conversation && (pair || isForNext)) try {
            if (isForNext) return {SelectedMessages(nextTransferMessages(*conversation))};
            return {SelectedMessages(records.relayState->preview(pair->id, workspace.source, *conversation,
                                                                 workspace.selectedStartMessageID))};
        } catch (const RelayError& failure) {
            if (failure.kind() != RelayError::Case::missingCheckpoint) return {};
            return {.messages = {}, .lostPosition = failure.what()};
        } catch (const std::exception&) {
            return {};
        }
    if (!conversation) {
        if (trimmed(workspace.manualText.get()).empty()) return {};
        return {SelectedMessages({Message{.id = "manual", .role = "context", .text = workspace.manualText}})};
    }
    const auto& chosen = workspace.selectedStartMessageID.get();
    const auto start = chosen ? positionOf(conversation->messages, *chosen) : std::nullopt;
    return {{conversation, std::min(start.value_or(workspace.startIndex), conversation->messages.size())}};
}

std::vector<Message> OpenRelay::nextTransferMessages(const Conversation& conversation) const {
    if (const auto initial = pendingInitialDraft())
        return records.relayState->previewNextInitial(initial->id, conversation,
                                                      workspace.selectedStartMessageID);
    const auto pair = activePair();
    if (!pair) throw RelayError(RelayError::Case::pairNotFound);
    return records.relayState->previewNext(pair->id, workspace.source, conversation,
                                           workspace.selectedStartMessageID);
}

std::string OpenRelay::preview() const {
    if (workspace.chainDestinationUnselected) return "";
    const auto messages = selectedMessages();
    return RelayFormatter::render(workspace.source, messages.span(), workspace.instruction.get(),
                                  sourceSpeakerLabel());
}

bool OpenRelay::startsAtCheckpoint() const {
    if (const auto pair = activePair())
        return !workspace.selectedStartMessageID.get() &&
               records.relayState->checkpoints.contains(positionKey(pair->id, workspace.source));
    return workspace.conversation.get() && !workspace.selectedStartMessageID.get() &&
           workspace.startIndex > 0;
}

std::optional<std::string> OpenRelay::checkpointKey() const {
    const auto destination = trimmed(workspace.destinationConversation.get());
    if (!workspace.conversation.get() || destination.empty()) return std::nullopt;
    return HandoffState::key(workspace.source, workspace.conversation.get()->id, workspace.destination,
                             destination);
}

std::optional<std::string> OpenRelay::nextPreviewError() const {
    const auto& conversation = workspace.conversation.get();
    if (!conversation || !noteIsForNextTransfer()) return std::nullopt;
    try {
        nextTransferMessages(*conversation);
        return std::nullopt;
    } catch (const std::exception& failure) {
        return std::string("Couldn't verify the next message range. ") + failure.what();
    }
}

std::optional<std::string> OpenRelay::nextRangeDescription() const {
    if (!noteIsForNextTransfer()) return std::nullopt;
    if (workspace.selectedStartMessageID->has_value())
        return "The next transfer starts at the selected message and may overlap the saved range.";
    return "New messages: Showing messages after the saved message. This preview does not advance the "
           "delivery position.";
}

} // namespace orvel
