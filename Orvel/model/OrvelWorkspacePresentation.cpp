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

void showPending(const OrvelModel& model, OrvelWorkspaceSnapshot& snapshot) {
    const auto transfer = model.pendingTransfer();
    if (!transfer) return;
    const auto& failures = model.relay().transferFailures.get();
    const auto failure = failures.find(transfer->id);
    if (failure != failures.end()) snapshot.pendingFailure = failure->second;
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
    snapshot.canEditNext = state.hasPending && !isOccupied;
    snapshot.canSubmitDraft = model.hasClaudePendingDraft() && !isOccupied;
    snapshot.hasRange = conversation != nullptr;
    snapshot.checkingDelivery = relay.isCheckingReceipts;
    if (const auto pair = model.activePair())
        if (const auto turn = model.watchedTurns().find(pair->codex.sessionID);
            turn != model.watchedTurns().end())
            snapshot.watchedSince = turn->second;
    snapshot.messages = model.selectedMessages();
    snapshot.error = session.error;
    snapshot.nextError = model.nextPreviewError();
    snapshot.nextRange = model.nextRangeDescription();
    snapshot.contextID = contextOf(model, state);
    return snapshot;
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
        return known.id() == reference.id() && known.transcriptPath == reference.transcriptPath;
    });
    return entry == catalog.end() ? reference.title : entry->title;
}

} // namespace orvel
