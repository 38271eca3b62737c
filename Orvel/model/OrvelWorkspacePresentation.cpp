#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <algorithm>

namespace orvel {

namespace {

std::string sourceTitle(const OrvelModel& model) {
    const auto& session = model.session();
    if (const auto reference = model.cardReference(session.source))
        return conversationTitle(model.relay(), *reference);
    if (session.conversation.get()) return session.conversation.get()->title;
    if (session.filePath.get()) return *session.filePath.get();
    return "Pasted conversation";
}

OrvelWorkspaceSnapshot::Endpoint endpointOf(const OrvelModel& model, Agent agent) {
    const bool isSource = agent == model.session().source;
    const auto reference = model.cardReference(agent);
    return {.id = reference ? reference->id() : std::string(rawValue(agent)),
            .agent = agent,
            .name = model.speakerTitle(agent),
            .title = reference  ? conversationTitle(model.relay(), *reference)
                     : isSource ? sourceTitle(model)
                                : "New conversation",
            .role = isSource ? "From" : "To",
            .isNew = !isSource && !reference};
}

// Both directions between the two cards of a pair.
std::vector<OrvelWorkspaceSnapshot::Route>
routesBetween(const OrvelModel& model, const std::vector<OrvelWorkspaceSnapshot::Endpoint>& cards) {
    std::vector<OrvelWorkspaceSnapshot::Route> routes;
    if (!model.activePair()) return routes;
    for (const auto& from : cards)
        for (const auto& to : cards)
            if (&from != &to)
                routes.push_back({.id = from.id + " → " + to.id,
                                  .fromID = from.id,
                                  .toID = to.id,
                                  .title = from.name + " → " + to.name,
                                  .selected = from.agent == model.session().source});
    return routes;
}

std::string contextOf(const OrvelModel& model, const OrvelWorkspaceState& state) {
    const auto& session = model.session();
    const std::string word(rawValue(session.source));
    if (const auto pair = model.activePair()) {
        const auto draft = model.noteIsForNextTransfer() ? ":next draft" : ":draft";
        const auto pending = model.pendingTransfer();
        return word + ":" + pair->id + draft + (pending ? ":" + pending->id : "");
    }
    if (!state.hasSource && !state.loading) return "empty";
    return word + ":" + session.filePath->value_or("pasted");
}

// The pair's last transfer, if it has arrived.
void showArrived(const OrvelModel& model, OrvelWorkspaceSnapshot& snapshot) {
    const auto pair = model.activePair();
    if (!pair) return;
    const auto& transfers = model.relay().relayState->transfers;
    for (auto i = transfers.size(); i-- > 0;) {
        if (transfers[i].pairID != pair->id) continue;
        snapshot.transferID = transfers[i].id;
        snapshot.pendingStep = OrvelWorkspaceSnapshot::Delivery::seen;
        return;
    }
}

// The words of a failure, and the record of the attempt that stands behind them.
void showFailure(const std::string& failure, OrvelWorkspaceSnapshot& snapshot) {
    const auto record = failure.rfind("\ntransfer=");
    snapshot.pendingFailure = failure.substr(0, record);
    if (record != failure.npos) snapshot.pendingAttempt = failure.substr(record + 1);
}

void showPending(const OrvelModel& model, OrvelWorkspaceSnapshot& snapshot) {
    const auto transfer = model.pendingTransfer();
    if (!transfer) return showArrived(model, snapshot);
    snapshot.transferID = transfer->id;
    const auto& failures = model.relay().transferFailures.get();
    const auto failure = failures.find(transfer->id);
    if (failure != failures.end()) {
        showFailure(failure->second, snapshot);
        snapshot.isErrorOfPending = model.session().error.get() == failure->second;
    }
    snapshot.pendingMessage = *transfer->payload;
    snapshot.state.canRetry = snapshot.state.hasPending && model.mayRetry(*transfer);
    snapshot.waitingForPaste = transfer->deliveryMode == RelayDeliveryMode::copied;
    snapshot.pendingStep = transfer->deliveryMode == RelayDeliveryMode::submitted
                               ? OrvelWorkspaceSnapshot::Delivery::delivered
                               : OrvelWorkspaceSnapshot::Delivery::saved;
}

} // namespace

std::string OrvelWorkspaceSnapshot::statusTitle() const {
    if (state.sending) return "Sending to " + destination + "…";
    if (state.loading) return "Loading conversation…";
    if (state.hasPending) {
        if (state.canRetry) return "Not sent";
        if (state.hasFailure) return "Delivery unconfirmed";
        return waitingForPaste ? "Waiting for paste" : "Checking delivery…";
    }
    if (state.hasFailure) return "Couldn't complete the action";
    if (!state.hasSource) return "Choose a conversation";
    if (state.busy) return "Waiting for " + sourceLabel;
    if (!state.hasContent) return "Up to date";
    return messages.span().empty() ? "Ready · Instructions only" : "Ready";
}

OrvelWorkspaceSnapshot workspaceSnapshot(const OrvelModel& model) {
    const auto& session = model.session();
    const auto& relay = model.relay();
    const auto& conversation = session.conversation.get();
    OrvelWorkspaceSnapshot snapshot;
    snapshot.previewSize = model.preview().size();
    snapshot.state = {.hasSource = conversation || !session.manualText->empty() || relay.sourceReference,
                      .loading = session.isLoading,
                      .sending = relay.isSending,
                      .busy = conversation && conversation->isBusy,
                      .hasPending = model.editingSavedTransfer(),
                      .hasFailure = session.error->has_value(),
                      .hasContent = snapshot.previewSize > 0};
    showPending(model, snapshot);
    auto& state = snapshot.state;
    if (state.hasPending && snapshot.pendingFailure) state.hasFailure = true;
    const bool isOccupied = relay.isSending || relay.isPreparing || session.isLoading;

    snapshot.destination = model.speakerTitle(session.destination);
    snapshot.sourceLabel = model.speakerTitle(session.source);
    if (state.hasSource || state.loading)
        for (const auto agent : {session.source.get(), session.destination.get()})
            snapshot.endpoints.push_back(endpointOf(model, agent));
    snapshot.routes = routesBetween(model, snapshot.endpoints);
    snapshot.hasPending = state.hasPending;
    snapshot.primaryTitle =
        state.hasPending ? "Retry to " + snapshot.destination : model.primaryActionTitle();
    // A new conversation cannot be started yet.
    snapshot.canSend = model.activePair() && !session.isLoading && model.canSendRelay();
    snapshot.canCopy = state.hasContent && !isOccupied && !state.busy && !model.previousCopy();
    snapshot.preparing = relay.isPreparing;
    snapshot.canEdit = !relay.isPreparing && !relay.isSending;
    snapshot.canLink = relay.sourceReference && snapshot.canEdit;
    snapshot.canEditNext = state.hasPending && !isOccupied;
    snapshot.canSubmitDraft = model.hasClaudePendingDraft() && !isOccupied;
    snapshot.hasRange = conversation != nullptr;
    snapshot.checkingDelivery = relay.isCheckingReceipts;
    snapshot.watchedSince = watchedSince(model);
    snapshot.messages = model.selectedMessages();
    snapshot.error = session.error;
    snapshot.nextError = model.nextPreviewError();
    snapshot.nextRange = model.nextRangeDescription();
    snapshot.contextID = contextOf(model, state);
    return snapshot;
}

std::optional<MainLoop::Duration> watchedSince(const OrvelModel& model) {
    const auto pair = model.activePair();
    if (!pair) return std::nullopt;
    const auto turn = model.watchedTurns().find(pair->codex.sessionID);
    return turn == model.watchedTurns().end() ? std::nullopt : std::optional(turn->second);
}

void chooseWorkspaceRoute(OrvelModel& model, const std::string& routeID) {
    if (model.relay().isSending || model.session().isLoading) return;
    const auto pair = model.activePair();
    if (!pair) return;
    for (const auto& route : workspaceSnapshot(model).routes)
        if (route.id == routeID)
            return model.openPair(*pair, route.fromID == pair->codex.id() ? Agent::codex : Agent::claude);
}

std::string conversationTitle(const RelaySession& relay, const ConversationReference& reference) {
    if (reference.agent == Agent::codex) {
        const auto thread = relay.codexThreadTitles->find(reference.sessionID);
        if (thread != relay.codexThreadTitles->end()) return thread->second;
    }
    const auto& catalog = relay.catalog.get();
    const auto entry = std::find_if(catalog.begin(), catalog.end(), [&](const auto& known) {
        return sameKey(known, reference) && known.transcriptPath == reference.transcriptPath;
    });
    return entry == catalog.end() ? reference.title : entry->title;
}

} // namespace orvel
