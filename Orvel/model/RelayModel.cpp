// The relay session: finding the conversations of this machine, opening one or a pair of them, copying a
// message that was saved before, and keeping the records.

#include "Orvel/delivery/RelaySendError.h"
#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Random.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/relay/RelayError.h"

namespace orvel {

namespace {

struct Discovery {
    std::vector<ConversationReference> catalog;
    std::map<std::string, std::string> codexThreadTitles;
};

} // namespace

void OrvelModel::discoverConversations() {
    if (relays.isDiscovering) return;
    relays.isDiscovering = true;
    tasks.start(discover());
}

Task<void> OrvelModel::discover() {
    const auto search = [folders = folders] {
        return Discovery{ConversationCatalog::list(folders), ConversationCatalog::codexThreadTitles(folders)};
    };
    auto found = co_await desktop.loop.background(search);
    relays.catalog = std::move(found.catalog);
    relays.codexThreadTitles = std::move(found.codexThreadTitles);
    const auto& conversation = plain.conversation.get();
    if (conversation && plain.filePath.get() && !relays.sourceReference)
        relays.sourceReference = catalogEntry(plain.source, conversation->id, *plain.filePath.get());
    relays.isDiscovering = false;
}

std::optional<ConversationReference> OrvelModel::catalogEntry(Agent agent, std::string_view sessionID,
                                                              std::string_view path) const {
    for (const auto& entry : relays.catalog.get())
        if (entry.agent == agent && entry.sessionID == sessionID && entry.transcriptPath == path)
            return entry;
    return std::nullopt;
}

RelayStamp OrvelModel::stamp() const {
    return {randomUUID, desktop.loop.now()};
}

void OrvelModel::saveRelay(RelayState state) {
    if (relays.relayStorageError) throw RelaySendError(*relays.relayStorageError);
    relayFile.saveNow(state);
    relays.relayState = std::move(state);
}

void OrvelModel::restoreRelay() {
    const auto& state = relays.relayState.get();
    if (!state.pairs.empty() || !state.initialTransfers.empty() || relays.relayStorageError) return;
    try {
        auto saved = relayFile.load();
        if (!saved) return;
        relays.relayState = std::move(*saved);
    } catch (const std::exception& failure) {
        relays.relayStorageError =
            std::string("Couldn't load links and transfer records. The original file is kept.\n") +
            failure.what();
        plain.error = relays.relayStorageError;
        return;
    }
    const auto active = relays.relayState->activePairs();
    if (!plain.conversation.get() && !active.empty()) openSidebarLink(active.back());
}

void OrvelModel::refresh() {
    if (activePair())
        checkRelayReceipts();
    else if (const auto reference = relays.sourceReference)
        loadRelayReference(*reference);
    else if (const auto path = plain.filePath.get())
        load(*path);
}

void OrvelModel::newLink() {
    if (isBusyWithMessage()) return;
    useManualInput();
    plain.instruction = "";
    plain.manualText = "";
    plain.destinationConversation = "";
    plain.status = "Choose a source conversation card, then start the destination conversation.";
}

void OrvelModel::chooseEndpoint(const ConversationReference& reference) {
    if (relays.sourceReference && relays.sourceReference->agent != reference.agent)
        connectDestination(reference);
    else
        chooseSource(reference);
}

void OrvelModel::chooseSource(const ConversationReference& reference) {
    if (isBusyWithMessage()) return;
    newLink();
    plain.source = reference.agent;
    plain.destination = other(reference.agent);
    relays.sourceReference = reference;
    loadRelayReference(reference);
}

void OrvelModel::openPair(const RelayPair& pair, Agent source) {
    if (isBusyWithMessage()) return;
    const auto active = relays.relayState->pairs.find(pair.id);
    if (!active || !active->isActive()) return;
    relays.selectedPairID = pair.id;
    plain.source = source;
    plain.destination = other(source);
    relays.sourceReference = pair.endpoint(source);
    plain.destinationConversation = pair.endpoint(other(source)).sessionID;
    auto draft = relays.relayState->draft(pair.id, source);
    if (editingSavedTransfer() && !draft.isForNextTransfer()) draft.instruction.clear();
    showDraft(draft);
    loadRelayReference(pair.endpoint(source));
}

void OrvelModel::showDraft(const RelayDraft& draft) {
    plain.instruction = draft.instruction;
    plain.selectedStartMessageID = draft.startMessageID;
}

void OrvelModel::saveCurrentDraft() try {
    const auto pair = activePair();
    if (!pair) return;
    changeRelay([&](RelayState& state) {
        state.setDraft(pair->id, plain.source, plain.instruction.get(), plain.selectedStartMessageID,
                       editingSavedTransfer());
    });
    relays.hasUnsavedDraft = false;
} catch (const std::exception& failure) {
    relays.hasUnsavedDraft = true;
    plain.error = failure.what();
}

std::vector<Message> OrvelModel::nextTransferMessages(const Conversation& conversation) const {
    const auto pair = activePair();
    if (!pair) throw RelayError(RelayError::Case::pairNotFound);
    return relays.relayState->previewNext(pair->id, plain.source, conversation, plain.selectedStartMessageID);
}

Task<void> OrvelModel::copyRelay(Pasteboard& pasteboard) {
    std::optional<std::string> failure;
    try {
        const auto pair = *activePair();
        const auto transfer = co_await prepareNew(pair, plain.source);
        pasteboard.clearContents();
        if (!pasteboard.setString(*transfer->payload))
            throw RelaySendError("Couldn't copy. The message has been saved.");
        changeRelay([&](RelayState& state) {
            if (state.link(pair.id))
                state.clearPreparedSourceInstruction(transfer->id);
            else
                state.setDraft(pair.id, transfer->source, "", plain.selectedStartMessageID, false);
        });
        plain.instruction = "";
        plain.status = "Waiting for paste — The position will not advance until delivery is confirmed in the "
                       "destination transcript.";
    } catch (const std::exception& error) {
        failure = error.what();
    }
    relays.isPreparing = false;
    if (failure) plain.error = failure;
}

void OrvelModel::copyPendingTransfer(Pasteboard& pasteboard) {
    const auto saved = previousCopy();
    if (!saved) return;
    pasteboard.clearContents();
    if (pasteboard.setString(*saved))
        plain.status = "Saved message copied.";
    else
        plain.error = "Couldn't copy. The message has been saved.";
}

void OrvelModel::loadRelayReference(const ConversationReference& reference) {
    const auto generation = relays.relayLoadGeneration.renew();
    plain.loadGeneration.renew();
    plain.conversation = nullptr;
    plain.manualText = "";
    plain.filePath = reference.transcriptPath;
    plain.isLoading = true;
    tasks.start(loadReference(reference, generation));
}

Task<void> OrvelModel::loadReference(ConversationReference reference, Generation::Value generation) {
    SharedConversation loaded;
    std::string failure;
    try {
        loaded = co_await reading.readReference(reference);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!relays.relayLoadGeneration.isCurrent(generation)) co_return;
    if (loaded) {
        showReading(loaded, reference);
        plain.status = reference.title;
        plain.error = std::nullopt;
    } else {
        plain.error = failure;
    }
    plain.isLoading = false;
    checkRelayReceipts();
}

void OrvelModel::showReading(const SharedConversation& loaded, const ConversationReference& reference) {
    plain.conversation = loaded;
    mergeReadings({{ConversationReading::key(reference), loaded}});
    const auto& chosen = plain.selectedStartMessageID.get();
    plain.startIndex = chosen ? positionOf(loaded->messages, *chosen).value_or(0) : 0;
}

} // namespace orvel
