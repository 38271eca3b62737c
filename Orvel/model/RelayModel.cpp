// The operations on the conversations of this machine: finding them, opening one by its reference, reading it
// again.

#include "Orvel/model/ConversationReading.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/runtime/MainLoop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"

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

std::optional<ConversationReference> OrvelModel::cardReference() const {
    const auto& reference = relays.sourceReference;
    return reference && reference->agent == plain.source ? reference : std::nullopt;
}

void OrvelModel::refresh() {
    if (const auto reference = relays.sourceReference)
        loadRelayReference(*reference);
    else if (const auto path = plain.filePath.get())
        load(*path);
}

void OrvelModel::newLink() {
    useManualInput();
    plain.instruction = "";
    plain.manualText = "";
    plain.destinationConversation = "";
    plain.status = "Choose a source conversation card, then start the destination conversation.";
}

void OrvelModel::chooseSource(const ConversationReference& reference) {
    newLink();
    plain.source = reference.agent;
    plain.destination = other(reference.agent);
    relays.sourceReference = reference;
    loadRelayReference(reference);
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
    const auto read = [reference]() -> SharedConversation {
        return std::make_shared<Conversation>(readReference(reference));
    };
    try {
        loaded = co_await desktop.loop.background(read);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!relays.relayLoadGeneration.isCurrent(generation)) co_return;
    if (loaded) {
        plain.conversation = loaded;
        const auto& chosen = plain.selectedStartMessageID.get();
        plain.startIndex = chosen ? positionOf(loaded->messages, *chosen).value_or(0) : 0;
        plain.status = reference.title;
        plain.error = std::nullopt;
    } else {
        plain.error = failure;
    }
    plain.isLoading = false;
}

} // namespace orvel
