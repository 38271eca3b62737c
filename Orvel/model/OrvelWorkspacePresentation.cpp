#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <algorithm>

namespace orvel {

namespace {

std::string sourceTitle(const OrvelModel& model) {
    const auto& session = model.session();
    if (const auto reference = model.cardReference()) return conversationTitle(model.relay(), *reference);
    if (session.conversation.get()) return session.conversation.get()->title;
    if (session.filePath.get()) return *session.filePath.get();
    return "Pasted conversation";
}

std::string contextOf(const OrvelModel& model, const OrvelWorkspaceState& state) {
    if (!state.hasSource && !state.loading) return "empty";
    const auto& session = model.session();
    return std::string(rawValue(session.source)) + ":" + session.filePath->value_or("pasted");
}

} // namespace

std::string OrvelWorkspaceSnapshot::statusTitle() const {
    if (state.loading) return "Loading conversation…";
    if (state.hasFailure) return "Couldn't complete the action";
    if (!state.hasSource) return "Choose a conversation";
    if (state.busy) return "Waiting for " + sourceLabel;
    if (!state.hasContent) return "Up to date";
    return messages.span().empty() ? "Ready · Instructions only" : "Ready";
}

OrvelWorkspaceSnapshot workspaceSnapshot(const OrvelModel& model) {
    const auto& session = model.session();
    const auto& conversation = session.conversation.get();
    OrvelWorkspaceSnapshot snapshot;
    snapshot.previewSize = model.preview().size();
    snapshot.state = {.hasSource =
                          conversation || !session.manualText->empty() || model.relay().sourceReference,
                      .loading = session.isLoading,
                      .busy = conversation && conversation->isBusy,
                      .hasFailure = session.error->has_value(),
                      .hasContent = snapshot.previewSize > 0};
    const auto& state = snapshot.state;
    snapshot.destination = label(session.destination);
    snapshot.sourceLabel = label(session.source);
    if (state.hasSource || state.loading)
        snapshot.endpoints.push_back({.id = std::string(rawValue(session.source)),
                                      .agent = session.source,
                                      .name = snapshot.sourceLabel,
                                      .title = sourceTitle(model),
                                      .role = "From"});
    snapshot.canCopy = state.hasContent && !state.loading && !state.busy;
    snapshot.hasRange = conversation != nullptr;
    snapshot.messages = model.selectedMessages();
    snapshot.error = session.error;
    snapshot.contextID = contextOf(model, state);
    return snapshot;
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
