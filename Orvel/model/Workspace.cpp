#include "Orvel/model/Workspace.h"

#include "Orvel/desktop/Panels.h"
#include "Orvel/model/Catalogue.h"
#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/RelayLedger.h"
#include "OrvelCore/files/FilePath.h"

namespace orvel {

Workspace::Workspace(const ChangeSignal& changes, const WorkspaceNeeds& needs, HandoffState positions)
    : needs(needs),
      held(changes),
      derived(held, needs.ledger.state()),
      tasks([this](const auto& failure) { this->needs.notices.fail(failure); }) {
    held.positions = std::move(positions);
}

void Workspace::apply(const HandoffRequest& request) {
    setSource(request.source);
    held.instruction = request.instruction;
    if (request.file) {
        load(*request.file);
        return;
    }
    useManualInput();
    held.manualText = "";
    needs.notices.say("Paste the conversation and review the message preview.");
}

void Workspace::setSource(Agent source) {
    const bool changes = held.source != source || held.destination != other(source);
    held.source = source;
    held.destination = other(source);
    if (changes) restoreDestinationConversation();
}

void Workspace::chooseFile() {
    const bool isCodex = held.source == Agent::codex;
    const OpenPanel panel{
        .message = isCodex
                       ? "Select a Codex conversation JSONL file, usually in ~/.codex/sessions."
                       : "Select a Claude Code conversation JSONL file, usually in ~/.claude/projects. For "
                         "regular Claude chats, use manual input.",
        .folder =
            joinedPath(needs.catalogue.agentFolders().home, isCodex ? ".codex/sessions" : ".claude/projects"),
        .showsHiddenFiles = true};
    if (auto path = needs.panels.chooseFile(panel)) load(std::move(*path));
}

void Workspace::openRecent(const RecentConversation& recent) {
    setSource(recent.source);
    load(recent.path);
}

void Workspace::useManualInput() {
    needs.ledger.flushDrafts();
    held.selectedPairID = std::nullopt;
    held.selectedStartMessageID = std::nullopt;
    held.sourceReference.reset();
    held.relayLoadGeneration.renew();
    held.loadGeneration.renew();
    held.isLoading = false;
    held.conversation = nullptr;
    held.filePath = std::nullopt;
    held.startIndex = 0;
    held.copiedPreview = std::nullopt;
}

void Workspace::setManualText(std::string text) {
    held.manualText = std::move(text);
}

void Workspace::newLink() {
    if (needs.operation.isUnderWay()) return;
    useManualInput();
    held.instruction = "";
    held.manualText = "";
    held.destinationConversation = "";
    needs.notices.say("Choose a source conversation card, then start the destination conversation.");
}

void Workspace::chooseSource(const ConversationReference& reference) {
    if (needs.operation.isUnderWay()) return;
    newLink();
    held.source = reference.agent;
    held.destination = other(reference.agent);
    held.sourceReference = reference;
    loadRelayReference(reference);
}

void Workspace::openPair(const RelayPair& pair, Agent source) {
    if (needs.operation.isUnderWay()) return;
    const auto active = needs.ledger.state().relayState->pairs.find(pair.id);
    if (!active || !active->isActive()) return;
    needs.ledger.flushDrafts();
    held.selectedPairID = pair.id;
    held.source = source;
    held.destination = other(source);
    held.sourceReference = pair.endpoint(source);
    held.destinationConversation = pair.endpoint(other(source)).sessionID;
    auto draft = needs.ledger.state().draft(pair.id, source);
    if (derived.editingSavedTransfer() && !draft.isForNextTransfer()) draft.instruction.clear();
    showDraft(draft);
    loadRelayReference(pair.endpoint(source));
}

void Workspace::showDraft(const RelayDraft& draft) {
    held.instruction = draft.instruction;
    held.selectedStartMessageID = draft.startMessageID;
}

void Workspace::selectRange(std::optional<std::string> messageID) {
    if (needs.operation.isBusyWithMessage()) return;
    held.commandEditGeneration.renew();
    const auto& conversation = held.conversation.get();
    held.startIndex =
        conversation && messageID ? positionOf(conversation->messages, *messageID).value_or(0) : 0;
    held.selectedStartMessageID = std::move(messageID);
    saveCurrentDraft();
}

void Workspace::setInstruction(std::string text) {
    if (needs.operation.isBusyWithMessage()) return;
    held.commandEditGeneration.renew();
    if (derived.editingSavedTransfer() && !derived.noteIsForNextTransfer()) {
        held.selectedStartMessageID = std::nullopt;
        held.startIndex = 0;
    }
    held.instruction = std::move(text);
    saveCurrentDraft();
}

void Workspace::saveCurrentDraft() {
    const auto pair = derived.activePair();
    if (!pair) return;
    needs.ledger.setDraft(
        pair->id, held.source,
        {.instruction = held.instruction,
         .startMessageID = held.selectedStartMessageID,
         .nextTransfer = derived.editingSavedTransfer() ? std::optional(true) : std::nullopt});
}

void Workspace::recordCopy(std::string text) {
    held.copiedPreview = std::move(text);
    const auto messages = derived.selectedMessages();
    held.copiedLastMessageID =
        messages.span().empty() ? std::nullopt : std::optional(messages.span().back().id);
    held.copiedCheckpointKey = derived.checkpointKey();
}

void Workspace::selectUnsentRange() {
    if (!held.conversation.get()) return;
    std::optional<std::string> lastDelivered;
    if (const auto key = derived.checkpointKey()) {
        const auto found = held.positions.checkpoints.find(*key);
        if (found != held.positions.checkpoints.end()) lastDelivered = found->second;
    }
    held.startIndex = HandoffFormatter::nextIndex(held.conversation.get()->messages, lastDelivered);
    held.selectedStartMessageID = std::nullopt;
}

void Workspace::restoreDestinationConversation() {
    const auto found =
        held.positions.lastDestinations.find(HandoffState::directionKey(held.source, held.destination));
    held.destinationConversation = found == held.positions.lastDestinations.end() ? "" : found->second;
    selectUnsentRange();
}

} // namespace orvel
