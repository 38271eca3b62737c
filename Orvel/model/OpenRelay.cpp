#include "Orvel/model/OpenRelay.h"

#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/relay/RelayRetry.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

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
    return records.relayState->transfers.findIf(
        [&](const auto& transfer) { return transfer.isPending() && transfer.pairID == *id; });
}

bool OpenRelay::editingSavedTransfer() const {
    const auto pending = pendingTransfer();
    return pending && pending->source == workspace.source;
}

bool OpenRelay::noteIsForNextTransfer() const {
    return activePair() && editingSavedTransfer() &&
           records.draft(*workspace.selectedPairID.get(), workspace.source).isForNextTransfer();
}

std::optional<std::string> OpenRelay::previousCopy() const {
    const auto pending = pendingTransfer();
    return pending ? std::optional(*pending->payload) : std::nullopt;
}

bool OpenRelay::hasClaudePendingDraft() const {
    const auto pending = pendingTransfer();
    return activePair() && pending && pending->source == Agent::codex;
}

std::optional<ConversationReference> OpenRelay::cardReference(Agent agent) const {
    if (const auto pair = activePair()) return pair->endpoint(agent);
    const auto& reference = workspace.sourceReference;
    return reference && reference->agent == agent ? reference : std::nullopt;
}

std::string OpenRelay::speakerLabel(Agent agent) const {
    const auto pair = activePair();
    return pair ? pair->speakerLabel(agent) : std::string(rawValue(agent));
}

std::string OpenRelay::speakerTitle(Agent agent) const {
    const auto word = rawValue(agent);
    const auto spoken = speakerLabel(agent);
    std::string title(label(agent));
    if (spoken != word && spoken.size() > word.size()) title += spoken.substr(word.size());
    return title;
}

std::string OpenRelay::sourceSpeakerLabel() const {
    if (editingSavedTransfer() && !noteIsForNextTransfer())
        return pendingTransfer()->assistantLabel.value_or(std::string(rawValue(workspace.source)));
    return speakerLabel(workspace.source);
}

std::string OpenRelay::primaryActionTitle() const {
    if (editingSavedTransfer()) return "Retry saved message";
    if (!activePair()) return std::string("Start in ").append(label(workspace.destination));
    return "Send to " + speakerTitle(workspace.destination);
}

OpenRelay::SelectionBasis OpenRelay::selectionBasis() const {
    return {workspace.selectedPairID.revision(), records.relayState.revision(),
            records.unsavedDrafts.revision(),    workspace.conversation.revision(),
            workspace.source.revision(),         workspace.selectedStartMessageID.revision(),
            workspace.startIndex.revision(),     workspace.manualText.revision()};
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
    const auto& conversation = workspace.conversation.get();
    if (const auto pair = activePair(); pair && conversation) try {
            if (noteIsForNextTransfer()) return {SelectedMessages(nextTransferMessages(*conversation))};
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
    const auto pair = activePair();
    if (!pair) throw RelayError(RelayError::Case::pairNotFound);
    return records.relayState->previewNext(pair->id, workspace.source, conversation,
                                           workspace.selectedStartMessageID);
}

std::string OpenRelay::preview() const {
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
