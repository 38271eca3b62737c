// What follows from the relay records and the open pair, and changes nothing.

#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <fmt/format.h>

namespace orvel {

std::shared_ptr<const RelayPair> OrvelModel::activePair() const {
    const auto& id = relays.selectedPairID.get();
    if (!id) return nullptr;
    auto pair = relays.relayState->pairs.find(*id);
    return pair && pair->isActive() ? pair : nullptr;
}

std::shared_ptr<const RelayTransfer> OrvelModel::pendingTransfer() const {
    const auto& id = relays.selectedPairID.get();
    if (!id) return nullptr;
    return relays.relayState->transfers.findIf(
        [&](const auto& transfer) { return transfer.isPending() && transfer.pairID == *id; });
}

bool OrvelModel::editingSavedTransfer() const {
    const auto pending = pendingTransfer();
    return pending && pending->source == plain.source;
}

bool OrvelModel::noteIsForNextTransfer() const {
    return activePair() && editingSavedTransfer() &&
           relays.relayState->draft(*relays.selectedPairID.get(), plain.source).isForNextTransfer();
}

std::optional<std::string> OrvelModel::previousCopy() const {
    const auto pending = pendingTransfer();
    return pending ? std::optional(*pending->payload) : std::nullopt;
}

std::optional<ConversationReference> OrvelModel::cardReference(Agent agent) const {
    if (const auto pair = activePair()) return pair->endpoint(agent);
    const auto& reference = relays.sourceReference;
    return reference && reference->agent == agent ? reference : std::nullopt;
}

std::string OrvelModel::speakerLabel(Agent agent) const {
    const auto pair = activePair();
    return pair ? pair->speakerLabel(agent) : std::string(rawValue(agent));
}

std::string OrvelModel::speakerTitle(Agent agent) const {
    const auto word = rawValue(agent);
    const auto spoken = speakerLabel(agent);
    std::string title(label(agent));
    if (spoken != word && spoken.size() > word.size()) title += spoken.substr(word.size());
    return title;
}

std::string OrvelModel::sourceSpeakerLabel() const {
    if (editingSavedTransfer() && !noteIsForNextTransfer())
        return pendingTransfer()->assistantLabel.value_or(std::string(rawValue(plain.source)));
    return speakerLabel(plain.source);
}

std::string OrvelModel::pairLabel(const RelayPair& pair) const {
    std::vector<ConversationReference> conversations;
    try {
        conversations = relays.relayState->orderedReferences(pair.id);
    } catch (const Failure&) {
        conversations = {pair.claude, pair.codex};
    }
    std::string text;
    for (const auto& conversation : conversations)
        text += (text.empty() ? "" : " ↔ ") + conversationTitle(relays, conversation);
    return text;
}

std::optional<std::string> OrvelModel::nextPreviewError() const {
    const auto& conversation = plain.conversation.get();
    if (!conversation || !noteIsForNextTransfer()) return std::nullopt;
    try {
        nextTransferMessages(*conversation);
        return std::nullopt;
    } catch (const std::exception& failure) {
        return std::string("Couldn't verify the next message range. ") + failure.what();
    }
}

std::optional<std::string> OrvelModel::nextRangeDescription() const {
    if (!noteIsForNextTransfer()) return std::nullopt;
    if (plain.selectedStartMessageID->has_value())
        return "The next transfer starts at the selected message and may overlap the saved range.";
    return "New messages: Showing messages after the saved message. This preview does not advance the "
           "delivery position.";
}

bool OrvelModel::mayRetry(const RelayTransfer& transfer) const {
    return transfer.retryable == true || relays.retryableTransferIDs->contains(transfer.id);
}

bool OrvelModel::canSendRelay() const {
    if (isBusyWithMessage()) return false;
    if (const auto& conversation = plain.conversation.get(); conversation && conversation->isBusy)
        return false;
    if (!relays.sourceReference) return false;
    if (const auto pending = pendingTransfer()) return pending->source == plain.source && mayRetry(*pending);
    return !preview().empty();
}

std::string OrvelModel::primaryActionTitle() const {
    if (editingSavedTransfer()) return "Retry saved message";
    if (!activePair()) return fmt::format("Start in {}", label(plain.destination));
    return "Send to " + speakerTitle(plain.destination);
}

bool OrvelModel::hasClaudePendingDraft() const {
    const auto pending = pendingTransfer();
    return activePair() && pending && pending->source == Agent::codex;
}

std::optional<std::string> OrvelModel::deliveryStage() const {
    using Stage = ClaudeRelayDiagnosticHistory::Stage;
    const auto* attempt = relays.isSending ? claudeSender.attempts().current() : nullptr;
    if (!attempt) return std::nullopt;
    switch (attempt->stage) {
    case Stage::launch: return "Opening Claude…";
    case Stage::sourceRoute:
    case Stage::sourceSnapshot: return "Looking at what Claude shows…";
    case Stage::navigationOpen:
    case Stage::navigationWait: return "Showing the conversation in Claude…";
    case Stage::targetSnapshot:
    case Stage::targetRecheck: return "Checking that the editor is empty…";
    case Stage::insertion: return "Writing into the editor…";
    case Stage::submission: return "Sending, and looking for it in the transcript…";
    }
    return std::nullopt;
}

} // namespace orvel
