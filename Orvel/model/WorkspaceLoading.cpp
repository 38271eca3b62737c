// How a workspace loads: files whose format may have to be recognised, and conversations by their reference.
// A result that came too late, since something else was opened meanwhile, changes nothing.

#include "Orvel/model/Catalogue.h"
#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "Orvel/reading/ClaudeCodeSessions.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptReader.h"

#include <fmt/format.h>

namespace orvel {

// What every load of a file does first. Gives the generation of this load.
Generation::Value Workspace::beginLoad() {
    leaveRelay();
    held.relayLoadGeneration.renew();
    const auto generation = held.loadGeneration.renew();
    held.isLoading = true;
    needs.notices.dismissError();
    held.conversation = nullptr;
    held.writtenAt.reset();
    held.isAbandoned = false;
    held.manualText = "";
    held.copiedPreview = std::nullopt;
    return generation;
}

void Workspace::load(std::string path) {
    const auto generation = beginLoad();
    held.filePath = path;
    tasks.start(loadFile(std::move(path), held.source, generation));
}

void Workspace::openFile(std::string path) {
    const auto generation = beginLoad();
    held.filePath = path;
    tasks.start(recognizeAndLoad(std::move(path), generation));
}

Task<void> Workspace::recognizeAndLoad(std::string path, Generation::Value generation) {
    const auto recognize = [path] { return ConversationCatalog::recognizedAgent(path); };
    const auto agent = co_await needs.loop.background(recognize);
    if (!held.loadGeneration.isCurrent(generation)) co_return;
    if (agent) setSource(*agent);
    co_await loadFile(std::move(path), held.source, generation);
}

Task<void> Workspace::loadFile(std::string path, Agent source, Generation::Value generation) {
    SharedConversation loaded;
    std::string failure;
    try {
        loaded = co_await readWhole(path, source);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!held.loadGeneration.isCurrent(generation)) co_return;
    if (loaded) {
        finishLoad(loaded, path, source);
    } else {
        needs.notices.fail(failure);
        needs.notices.say("Couldn't load the conversation.");
    }
    held.isLoading = false;
}

// A file that holds only the tail of its conversation is read as its reference is.
Task<SharedConversation> Workspace::readWhole(std::string path, Agent source) {
    struct Reading {
        SharedConversation conversation;
        std::optional<ConversationReference> inheriting;
    };
    const auto read = [path, source]() -> Reading {
        try {
            return {std::make_shared<Conversation>(TranscriptReader::read(path, source)), std::nullopt};
        } catch (const TranscriptError& error) {
            if (error.kind() != TranscriptError::Case::inheritedHistory) throw;
            return {nullptr, ConversationCatalog::reference(path, source)};
        }
    };
    auto result = co_await needs.loop.background(read);
    if (!result.inheriting) co_return result.conversation;
    co_return co_await needs.reader.readReference(std::move(*result.inheriting));
}

void Workspace::finishLoad(const SharedConversation& loaded, const std::string& path, Agent source) {
    held.conversation = loaded;
    held.filePath = path;
    held.manualText = "";
    held.sourceReference = needs.catalogue.state().entry(source, loaded->id, path);
    if (held.destinationConversation->empty()) restoreDestinationConversation();
    selectUnsentRange();
    needs.notices.say(
        fmt::format("{} messages loaded. Check the destination and message range.", loaded->messages.size()));
    needs.catalogue.recordRecent(*loaded, path, source);
}

void Workspace::loadRelayReference(const ConversationReference& reference) {
    const auto generation = held.relayLoadGeneration.renew();
    held.loadGeneration.renew();
    held.conversation = nullptr;
    held.writtenAt.reset();
    held.isAbandoned = false;
    held.manualText = "";
    held.filePath = reference.transcriptPath;
    held.isLoading = true;
    tasks.start(loadReference(reference, generation));
}

// What was said while it went on is news, and stays.
Task<void> Workspace::loadReference(ConversationReference reference, Generation::Value generation) {
    const auto said = needs.notices.said(), failed = needs.notices.failed();
    SharedConversation loaded;
    std::string failure;
    try {
        loaded = co_await needs.reader.readReference(reference);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!held.relayLoadGeneration.isCurrent(generation)) co_return;
    if (loaded) {
        showLoaded(loaded, reference);
        if (said == needs.notices.said()) needs.notices.say(reference.title);
        if (failed == needs.notices.failed()) needs.notices.dismissError();
    } else {
        needs.notices.fail(failure);
        if (said == needs.notices.said()) needs.notices.say("Couldn't load the conversation.");
    }
    held.isLoading = false;
    onLoaded();
}

void Workspace::showLoaded(const SharedConversation& loaded, const ConversationReference& reference) {
    held.conversation = loaded;
    lookForWriter(reference);
    needs.readings.merge({{ConversationReader::key(reference), loaded}});
    const auto& chosen = held.selectedStartMessageID.get();
    held.startIndex = chosen ? positionOf(loaded->messages, *chosen).value_or(0) : 0;
}

void Workspace::showReading(SharedConversation fresh) {
    held.conversation = std::move(fresh);
    if (const auto pair = derived.activePair()) lookForWriter(pair->endpoint(held.source));
}

// What is known of the program that writes the shown conversation, beside the transcript.
void Workspace::lookForWriter(const ConversationReference& reference) {
    held.writtenAt = needs.reader.writtenAt(reference);
    held.isAbandoned = false;
    if (reference.agent == Agent::claude && held.conversation.get()->isBusy)
        tasks.start(lookForClaudeCode(reference.sessionID));
}

// Claude Codes that take no notes would be missed: without any note nothing is said.
Task<void> Workspace::lookForClaudeCode(std::string sessionID) {
    const auto shown = held.conversation.get();
    const auto read = [folder = needs.catalogue.agentFolders().claude] {
        return ClaudeCodeSessions::read(folder);
    };
    std::vector<ClaudeCodeSession> sessions;
    try {
        sessions = co_await needs.loop.background(read);
    } catch (const std::exception&) {
        co_return;
    }
    if (held.conversation.get() == shown && !sessions.empty())
        held.isAbandoned = !ClaudeCodeSessions::holder(sessions, sessionID, needs.processes);
}

void Workspace::refresh() {
    if (derived.activePair())
        onLoaded();
    else if (const auto reference = held.sourceReference)
        loadRelayReference(*reference);
    else if (const auto path = held.filePath.get())
        load(*path);
}

void Workspace::recognizeSource() {
    const auto& conversation = held.conversation.get();
    if (conversation && held.filePath.get() && !held.sourceReference)
        held.sourceReference =
            needs.catalogue.state().entry(held.source, conversation->id, *held.filePath.get());
}

void Workspace::refreshUnpairedBusySource() {
    if (derived.activePair() || isRefreshingBusySource || isOccupied(needs.operation, held)) return;
    const auto& conversation = held.conversation.get();
    if (!conversation || !conversation->isBusy || !held.sourceReference) return;
    tasks.start(refreshBusySource(*held.sourceReference));
}

Task<void> Workspace::refreshBusySource(ConversationReference reference) {
    const WhileTrue refreshing(isRefreshingBusySource);
    const auto generation = held.relayLoadGeneration.current();
    const auto key = ConversationReader::key(reference);
    SharedConversation fresh;
    std::string failure;
    try {
        fresh = co_await needs.reader.readIfChanged(reference);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!held.relayLoadGeneration.isCurrent(generation)) co_return;
    if (!fresh) {
        needs.notices.fail(failure);
        co_return;
    }
    const auto& open = held.sourceReference;
    if (!open || ConversationReader::key(*open) != key || derived.activePair() ||
        needs.operation.isUnderWay())
        co_return;
    showLoaded(fresh, reference);
}

} // namespace orvel
