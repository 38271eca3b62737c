#include "Orvel/model/Workspace.h"

#include "Orvel/desktop/Panels.h"
#include "Orvel/model/Catalogue.h"
#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/RelayLedger.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelaySendError.h"

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
    if (auto path = needs.panels.choose(panel)) load(std::move(*path));
}

void Workspace::openRecent(const RecentConversation& recent) {
    setSource(recent.source);
    load(recent.path);
}

void Workspace::leaveRelay() {
    needs.ledger.flushDrafts();
    held.chainDestinationUnselected = false;
    held.selectedPairID = std::nullopt;
    held.selectedInitialID = std::nullopt;
    held.selectedStartMessageID = std::nullopt;
    held.sourceReference.reset();
    held.replacementSpeakerContext.reset();
    held.newConversationAttachment = std::nullopt;
}

void Workspace::useManualInput() {
    leaveRelay();
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
    held.creationFolder = std::nullopt;
    needs.notices.say("Choose a source conversation card, then start the destination conversation.");
}

void Workspace::chooseSource(const ConversationReference& reference) {
    if (needs.operation.isUnderWay()) return;
    if (const auto initial = needs.ledger.state().relayState->pendingInitial(reference))
        return openInitial(*initial);
    newLink();
    held.source = reference.agent;
    held.destination = other(reference.agent);
    held.sourceReference = reference;
    showDraft(needs.ledger.unlinkedDrafts.draft(reference));
    loadRelayReference(reference);
}

void Workspace::openInitial(const RelayInitialTransfer& initial) {
    if (needs.operation.isUnderWay()) return;
    leaveRelay();
    held.selectedInitialID = initial.id;
    held.source = initial.sourceReference.agent;
    held.destination = initial.destinationAgent;
    held.replacementSpeakerContext = initial.speakerContext;
    held.newConversationAttachment = initial.linkAttachment;
    held.sourceReference = initial.sourceReference;
    held.destinationConversation = "";
    showDraft(needs.ledger.state().nextDraft(initial));
    loadRelayReference(initial.sourceReference);
}

std::shared_ptr<const RelayPair> Workspace::openFounded(const std::string& initialID) {
    const auto& state = needs.ledger.state().relayState.get();
    const auto initial = state.initialTransfers.find(initialID);
    const auto pair = initial && initial->boundPairID ? state.pairs.find(*initial->boundPairID) : nullptr;
    if (!pair || held.selectedInitialID.get() != initialID) return nullptr;
    openPair(*pair, initial->destinationAgent);
    return pair;
}

void Workspace::prepareNewConversation(const NewConversation& wanted) {
    if (needs.operation.isUnderWay()) return;
    newLink();
    held.source = wanted.source.agent;
    held.destination = other(wanted.source.agent);
    held.sourceReference = wanted.source;
    held.replacementSpeakerContext = wanted.speakerContext;
    held.newConversationAttachment = wanted.attachment;
    showDraft(wanted.draft);
    needs.notices.dismissError();
    loadRelayReference(wanted.source);
}

Task<SharedConversation> Workspace::checkedSource(ConversationReference reference) {
    const auto generation = held.relayLoadGeneration.current();
    auto fresh = co_await needs.reader.readReference(std::move(reference));
    const auto& shown = held.conversation.get();
    if (shown && (shown == fresh || *shown == *fresh)) co_return shown;
    if (held.relayLoadGeneration.isCurrent(generation)) showReading(std::move(fresh));
    throw RelaySendError(rangeChanged);
}

void Workspace::openPair(const RelayPair& pair, Agent source) {
    if (needs.operation.isUnderWay()) return;
    const auto active = needs.ledger.state().relayState->pairs.find(pair.id);
    if (!active || !active->isActive()) return;
    leaveRelay();
    held.selectedPairID = pair.id;
    held.source = source;
    held.destination = other(source);
    held.sourceReference = pair.endpoint(source);
    held.destinationConversation = pair.endpoint(other(source)).sessionID;
    showDraft(shownDraft(pair.id, source));
    loadRelayReference(pair.endpoint(source));
}

// While a saved message is shown, the note is for the one after it.
RelayDraft Workspace::shownDraft(const std::string& pairID, Agent source) const {
    const auto& records = needs.ledger.state();
    if (const auto initial = derived.pendingInitialDraft()) {
        auto draft = records.nextDraft(*initial);
        if (!draft.isForNextTransfer()) draft.startMessageID = initial->startMessageID;
        return draft;
    }
    auto draft = records.draft(pairID, source);
    if (derived.editingSavedTransfer() && !draft.isForNextTransfer()) draft.instruction.clear();
    return draft;
}

void Workspace::showDraft(const RelayDraft& draft) {
    held.instruction = draft.instruction;
    held.selectedStartMessageID = draft.startMessageID;
}

void Workspace::keepDraft(const RelayDraft& draft) {
    showDraft(draft);
    saveCurrentDraft();
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
    RelayDraft draft{
        .instruction = held.instruction, .startMessageID = held.selectedStartMessageID, .nextTransfer = {}};
    if (const auto initial = derived.pendingInitialDraft())
        return needs.ledger.setNextDraft(initial->id, std::move(draft));
    if (const auto pair = derived.activePair()) {
        // Where no direction is chosen, the side may still have a message on its way.
        const bool keepsMark = held.chainDestinationUnselected &&
                               needs.ledger.state().draft(pair->id, held.source).isForNextTransfer();
        if (derived.editingSavedTransfer() || keepsMark) draft.nextTransfer = true;
        return needs.ledger.setDraft(pair->id, held.source, std::move(draft));
    }
    if (held.sourceReference) needs.ledger.unlinkedDrafts.set(*held.sourceReference, std::move(draft));
}

void Workspace::forgetUnlinkedDraft(const ConversationReference& source) {
    needs.ledger.unlinkedDrafts.forget(source);
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
