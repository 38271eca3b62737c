#include "Orvel/model/OrvelWorkspacePresentation.h"

#include "Orvel/model/BusyWords.h"
#include "OrvelCore/conversations/ConversationNames.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/QueuedReceipt.h"
#include "OrvelCore/text/Failure.h"

#include <chrono>
#include <cstdint>

namespace orvel {

namespace {

std::string sourceTitle(const ModelView& view) {
    if (const auto reference = view.relay.cardReference(view.workspace.source))
        return view.catalogue.conversationTitle(*reference);
    std::string title = "Pasted conversation";
    if (const auto& conversation = view.workspace.conversation.get()) {
        title = conversation->title;
        if (!isReadableName(title)) title = firstOwnWords(*conversation);
    } else if (const auto& path = view.workspace.filePath.get()) {
        title = lastPathComponent(*path);
    }
    return isReadableName(title) ? title : std::string(untitled);
}

OrvelWorkspaceSnapshot::Endpoint endpointOf(const ModelView& view, Agent agent) {
    const bool isSource = agent == view.workspace.source;
    const auto reference = view.relay.cardReference(agent);
    return {.id = reference ? reference->id() : std::string(rawValue(agent)),
            .agent = agent,
            .name = view.relay.speakerTitle(agent),
            .title = reference  ? view.catalogue.conversationTitle(*reference)
                     : isSource ? sourceTitle(view)
                                : "New conversation",
            .role = isSource ? "From" : "To",
            .isNew = !isSource && !reference};
}

OrvelWorkspaceSnapshot::Endpoint memberOf(const ModelView& view, const ConversationReference& reference) {
    const auto pair = view.relay.activePair();
    const auto& source = view.workspace.sourceReference;
    const bool isSource = source && sameIdentity(*source, reference);
    const bool isDestination = !view.workspace.chainDestinationUnselected &&
                               sameIdentity(pair->endpoint(view.workspace.destination), reference);
    return {.id = reference.id(),
            .agent = reference.agent,
            .name = view.relay.chainSpeakerTitle(reference),
            .title = view.catalogue.conversationTitle(reference),
            .role = isSource        ? "From"
                    : isDestination ? "To"
                                    : ""};
}

// A link's in its order; else the source's first.
std::vector<OrvelWorkspaceSnapshot::Endpoint> cardsOf(const ModelView& view) {
    std::vector<OrvelWorkspaceSnapshot::Endpoint> cards;
    if (view.relay.activeChain())
        for (const auto& reference : view.relay.orderedRelayConversations())
            cards.push_back(memberOf(view, reference));
    else
        for (const auto agent : {view.workspace.source.get(), view.workspace.destination.get()})
            cards.push_back(endpointOf(view, agent));
    return cards;
}

// Both directions between neighbours.
std::vector<OrvelWorkspaceSnapshot::Route>
routesBetween(const ModelView& view, const std::vector<OrvelWorkspaceSnapshot::Endpoint>& cards) {
    std::vector<OrvelWorkspaceSnapshot::Route> routes;
    if (!view.relay.activePair()) return routes;
    const auto isTaken = [&](const auto& from, const auto& to) {
        return !view.workspace.chainDestinationUnselected && from.role == "From" && to.role == "To";
    };
    const auto add = [&](const auto& from, const auto& to) {
        routes.push_back({.id = OrvelWorkspaceSnapshot::routeID(from.id, to.id),
                          .fromID = from.id,
                          .toID = to.id,
                          .title = from.name + " → " + to.name,
                          .selected = isTaken(from, to)});
    };
    for (std::size_t i = 0; i + 1 < cards.size(); ++i) {
        add(cards[i], cards[i + 1]);
        add(cards[i + 1], cards[i]);
    }
    return routes;
}

// What a first message's card and its button need.
void showStart(const ModelView& view, OrvelWorkspaceSnapshot& snapshot) {
    const bool isStart = view.workspace.sourceReference && !view.relay.activePair();
    snapshot.isStart = isStart;
    if (!isStart || view.workspace.destination != Agent::codex) return;
    snapshot.workingFolder = view.workspace.creationFolder;
    snapshot.needsFolder = !snapshot.workingFolder;
}

// Why the open link can't grow, if it can't.
std::optional<std::string> whyNotLonger(const ModelView& view, bool isOccupied) {
    if (view.relay.orderedRelayConversations().size() >= RelayLink::maximumConversations)
        return "A link holds three conversations at most.";
    if (view.relay.pendingTransfer() || view.relay.otherChainTransferPending())
        return "The link can grow once its message has been seen.";
    if (isOccupied) return "The link can grow once the present work has ended.";
    return std::nullopt;
}

std::string contextOf(const ModelView& view, const OrvelWorkspaceState& state) {
    const std::string word(rawValue(view.workspace.source));
    if (const auto pair = view.relay.activePair()) {
        const auto draft = view.relay.noteIsForNextTransfer() ? ":next draft" : ":draft";
        const auto pending = view.relay.pendingTransfer();
        if (view.workspace.chainDestinationUnselected) return word + ":" + pair->id + ":undirected draft";
        return word + ":" + pair->id + draft + (pending ? ":" + pending->id : "");
    }
    if (const auto initial = view.relay.activeInitial())
        return word + ":" + initial->id + (view.relay.noteIsForNextTransfer() ? ":next draft" : ":draft");
    if (!state.hasSource && !state.loading) return "empty";
    return word + ":" + view.workspace.filePath->value_or("pasted");
}

// Those in the open source. To the conversation that they came from only their instructions go back.
std::map<std::string, RelayedMessage> relayedMessages(const ModelView& view) {
    std::map<std::string, RelayedMessage> relayed;
    const auto open = view.relay.activePair();
    if (!open) return relayed;
    const auto& records = view.records.relayState.get();
    const auto side = view.workspace.source.get();
    const auto link = records.link(open->id);
    const auto pairs = link ? records.adjacentPairs(*link, open->endpoint(side)) : std::vector{*open};
    for (const auto& pair : pairs)
        for (const auto& [messageID, transfer] : records.receivedRelays(pair.id, side))
            relayed.insert_or_assign(
                std::string(messageID),
                RelayedMessage{
                    .from = titleOfSpeaker(transfer->source, transfer->assistantLabel.value_or(
                                                                 std::string(rawValue(transfer->source)))),
                    .instruction = transfer->instruction,
                    .travelsWhole = pair.id != open->id});
    return relayed;
}

// The pair's last transfer, if it has arrived.
void showArrived(const ModelView& view, OrvelWorkspaceSnapshot& snapshot) {
    const auto pair = view.relay.activePair();
    if (!pair) return;
    const auto& transfers = view.records.relayState->transfers;
    for (auto i = transfers.size(); i-- > 0;) {
        if (transfers[i].pairID != pair->id) continue;
        snapshot.transferID = transfers[i].id;
        snapshot.transferStanding = TransferStanding::received;
        return;
    }
}

void showPending(const ModelView& view, OrvelWorkspaceSnapshot& snapshot) {
    if (view.workspace.chainDestinationUnselected) return;
    const auto transfer = view.relay.pendingTransfer();
    const auto initial = view.relay.activeInitial();
    if (!transfer && !initial) return showArrived(view, snapshot);
    const auto standing =
        transfer ? view.outbox.standing(*transfer, view.relay) : view.outbox.standing(*initial);
    snapshot.transferID = transfer ? transfer->id : initial->id;
    snapshot.transferStanding = standing;
    snapshot.pendingMessage = *(transfer ? transfer->payload : initial->payload);
    if (transfer) snapshot.pendingHint = whyNoReceiptComes(view, *transfer);
    if (const auto* failure = view.outbox.failureOf(*snapshot.transferID)) {
        snapshot.pendingFailure = failure->text;
        snapshot.pendingAttempt = failure->attempt;
        snapshot.isErrorOfPending = view.notices.error() == failure->description();
    }
    if (const auto* problem = view.outbox.receiptProblemOf(*snapshot.transferID))
        snapshot.pendingFailure = problem->text;
    auto& state = snapshot.state;
    state.canRetry = state.hasPending && standing == TransferStanding::mayBeRetried;
    if (state.hasPending && (snapshot.pendingFailure || standing == TransferStanding::unconfirmed))
        state.hasFailure = true;
    snapshot.waitingForPaste = standing == TransferStanding::waitingForPaste;
}

AgentActivity activityOf(const ModelView& view) {
    AgentActivity activity{.processIsGone = view.workspace.isAbandoned};
    if (const auto& writtenAt = view.workspace.writtenAt)
        activity.silence = std::chrono::seconds(static_cast<std::int64_t>(view.now - *writtenAt));
    return activity;
}

// What stands against the source; else the status, unless it is the title that the card shows already.
std::optional<std::string> statusLine(const ModelView& view) {
    if (auto lost = view.relay.lostPosition()) return lost;
    const auto& conversation = view.workspace.conversation.get();
    if (conversation && conversation->isBusy)
        if (auto words = wordsForBusy(view.workspace.source, activityOf(view))) return words;
    // What was said last may be of what was open before.
    if (view.workspace.isLoading) return std::nullopt;
    const auto& source = view.workspace.sourceReference;
    const bool repeatsTitle =
        view.workspace.conversation.get() && source && source->title == view.notices.status();
    return repeatsTitle ? std::nullopt : std::optional(view.notices.status());
}

} // namespace

std::string OrvelWorkspaceSnapshot::statusTitle() const {
    if (state.sending) return "Sending to " + destination + "…";
    if (state.loading) return "Loading conversation…";
    if (state.needsDestination) return "Choose a destination";
    if (state.otherPending) return "Another transfer is pending";
    if (state.hasPending) {
        if (state.canRetry || transferStanding == TransferStanding::outdated) return "Not sent";
        if (transferStanding == TransferStanding::receiptUnsaved) return "Receipt not saved";
        if (state.hasFailure) return "Delivery unconfirmed";
        return waitingForPaste ? "Waiting for paste" : "Checking delivery…";
    }
    if (state.hasFailure) return "Couldn't complete the action";
    if (!state.hasSource) return "Choose a conversation";
    if (state.busy) return "Waiting for " + sourceLabel;
    if (!state.hasContent) return "Up to date";
    return messages.span().empty() ? "Ready · Instructions only" : "Ready";
}

OrvelWorkspaceSnapshot workspaceSnapshot(const ModelView& view) {
    const auto& conversation = view.workspace.conversation.get();
    const auto& operation = view.outbox.operation;
    OrvelWorkspaceSnapshot snapshot;
    const auto preview = view.relay.preview();
    snapshot.previewSize = preview.size();
    snapshot.state = {.hasSource = conversation || !view.workspace.manualText->empty() ||
                                   view.workspace.sourceReference,
                      .loading = view.workspace.isLoading,
                      .sending = operation.isSending(),
                      .busy = conversation && conversation->isBusy,
                      .hasPending = view.relay.editingSavedTransfer(),
                      .hasFailure = view.notices.error().has_value(),
                      .needsDestination = view.workspace.chainDestinationUnselected,
                      .otherPending = view.relay.otherChainTransferPending(),
                      .hasContent = snapshot.previewSize > 0};
    showPending(view, snapshot);
    const auto& state = snapshot.state;
    const bool mayNotBegin = isOccupied(operation, view.workspace);

    snapshot.destination = view.relay.speakerTitle(view.workspace.destination);
    snapshot.sourceLabel = view.relay.speakerTitle(view.workspace.source);
    if (state.hasSource || state.loading) snapshot.endpoints = cardsOf(view);
    showStart(view, snapshot);
    for (auto& card : snapshot.endpoints)
        card.canStartNew = card.role == "To" && !card.isNew && !mayNotBegin && !view.relay.activeInitial();
    snapshot.routes = routesBetween(view, snapshot.endpoints);
    snapshot.hasPending = state.hasPending;
    snapshot.primaryTitle = state.hasPending   ? "Retry to " + snapshot.destination
                            : snapshot.isStart ? "Start in " + snapshot.destination
                                               : view.relay.primaryActionTitle();
    const auto pair = view.relay.activePair();
    if (pair && !preview.empty() && !view.relay.pendingTransfer())
        snapshot.refusal = view.outbox.refusal(pair->endpoint(view.workspace.destination), preview);
    snapshot.canSend = !view.workspace.isLoading && !snapshot.refusal && !snapshot.needsFolder &&
                       !state.otherPending && snapshot.transferStanding != TransferStanding::outdated &&
                       view.outbox.canSendRelay(view.workspace, view.relay);
    snapshot.canCopy =
        state.hasContent && !mayNotBegin && !state.busy && !view.relay.previousCopy() && !state.otherPending;
    snapshot.isChain = view.relay.activeChain() != nullptr;
    if (pair) snapshot.cannotExtend = whyNotLonger(view, mayNotBegin);
    snapshot.canExtend = pair && !snapshot.cannotExtend;
    snapshot.canOpenCodex =
        view.creations.completedCreation(view.relay.cardReference(Agent::codex)).has_value();
    snapshot.preparing = operation.isPreparing();
    snapshot.canEdit = !operation.isBusyWithMessage();
    snapshot.canLink = view.workspace.sourceReference && snapshot.canEdit;
    snapshot.canEditNext = state.hasPending && !mayNotBegin;
    snapshot.canSubmitDraft = view.relay.hasClaudePendingDraft() && !mayNotBegin;
    snapshot.hasRange = conversation != nullptr;
    snapshot.checkingDelivery = view.isCheckingReceipts;
    snapshot.messages = view.relay.selectedMessages();
    snapshot.conversation = conversation;
    if (!view.workspace.sourceReference) snapshot.sourceFile = view.workspace.filePath;
    if (conversation) snapshot.relayed = relayedMessages(view);
    snapshot.startsAtCheckpoint = view.relay.startsAtCheckpoint();
    snapshot.assistantLabel = view.relay.sourceSpeakerLabel();
    // What was advised when it failed holds no longer.
    if (snapshot.transferStanding != TransferStanding::outdated) snapshot.statusLine = statusLine(view);
    snapshot.error = view.notices.error();
    snapshot.nextError = view.relay.nextPreviewError();
    snapshot.nextRange = view.relay.nextRangeDescription();
    snapshot.contextID = contextOf(view, state);
    return snapshot;
}

std::optional<WatchedTurn> watchedTurn(const ModelView& view) {
    const auto pair = view.relay.activePair();
    if (!pair) return std::nullopt;
    for (const auto agent : allAgents) {
        const auto turn = view.watchedTurns.find(pair->endpoint(agent).sessionID);
        if (turn != view.watchedTurns.end()) return WatchedTurn{agent, turn->second};
    }
    return std::nullopt;
}

SharedConversation destinationReading(const ModelView& view, const RelayTransfer& transfer) {
    const auto pair = view.records.relayState->pairs.find(transfer.pairID);
    if (!pair) return nullptr;
    const auto& readings = view.readings.latest();
    const auto read = readings.find(ConversationReader::key(pair->endpoint(other(transfer.source))));
    return read == readings.end() ? nullptr : read->second;
}

std::optional<std::string> whyNoReceiptComes(const ModelView& view, const RelayTransfer& transfer) {
    const auto destination = destinationReading(view, transfer);
    return destination && standsAsQueuedCommand(transfer, *destination)
               ? std::optional<std::string>(wordsForQueuedCommand)
               : std::nullopt;
}

std::string pairLabel(const ModelView& view, const RelayPair& pair) {
    std::vector<ConversationReference> conversations;
    try {
        conversations = view.records.relayState->orderedReferences(pair.id);
    } catch (const Failure&) {
        conversations = {pair.claude, pair.codex};
    }
    std::string text;
    for (const auto& conversation : conversations)
        text += (text.empty() ? "" : " ↔ ") + view.catalogue.conversationTitle(conversation);
    return text;
}

} // namespace orvel
