// The operations of the plain session: opening a file, a URL or pasted text, choosing the range, forming and
// copying the text.

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/runtime/MainLoop.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>

#include <fmt/format.h>

namespace orvel {

void OrvelModel::open(std::string_view url) {
    const auto request = HandoffRequest::parse(url);
    if (!request) {
        plain.error = "Couldn't read the Orvel URL.";
        return;
    }
    apply(*request);
    desktop.applications.activateSelf();
}

void OrvelModel::apply(const HandoffRequest& request) {
    setSource(request.source);
    plain.instruction = request.instruction;
    if (request.file) {
        load(*request.file);
        return;
    }
    useManualInput();
    plain.manualText = "";
    plain.status = "Paste the conversation and review the message preview.";
}

void OrvelModel::setSource(Agent source) {
    const bool changes = plain.source != source || plain.destination != other(source);
    plain.source = source;
    plain.destination = other(source);
    if (changes) restoreDestinationConversation();
}

void OrvelModel::chooseFile() {
    const bool isCodex = plain.source == Agent::codex;
    const OpenPanel panel{
        .message = isCodex
                       ? "Select a Codex conversation JSONL file, usually in ~/.codex/sessions."
                       : "Select a Claude Code conversation JSONL file, usually in ~/.claude/projects. For "
                         "regular Claude chats, use manual input.",
        .folder = joinedPath(folders.home, isCodex ? ".codex/sessions" : ".claude/projects"),
        .showsHiddenFiles = true};
    if (auto path = desktop.panels.chooseFile(panel)) load(std::move(*path));
}

void OrvelModel::openRecent(const RecentConversation& recent) {
    setSource(recent.source);
    load(recent.path);
}

void OrvelModel::removeRecent(std::string_view id) try {
    recentStore.remove(id);
    plain.recentConversations = recentStore.entries();
} catch (const std::exception& failure) {
    plain.error =
        fmt::format("Couldn't remove the conversation from recent conversations.\n{}", failure.what());
}

void OrvelModel::useManualInput() {
    relays.selectedPairID = std::nullopt;
    plain.selectedStartMessageID = std::nullopt;
    relays.sourceReference.reset();
    relays.relayLoadGeneration.renew();
    plain.loadGeneration.renew();
    plain.isLoading = false;
    plain.conversation = nullptr;
    plain.filePath = std::nullopt;
    plain.startIndex = 0;
    plain.copiedPreview = std::nullopt;
}

void OrvelModel::setManualText(std::string text) {
    plain.manualText = std::move(text);
}

// What every load of a file does first. Gives the generation of this load.
Generation::Value OrvelModel::beginLoad() {
    relays.selectedPairID = std::nullopt;
    plain.selectedStartMessageID = std::nullopt;
    relays.sourceReference.reset();
    relays.relayLoadGeneration.renew();
    const auto generation = plain.loadGeneration.renew();
    plain.isLoading = true;
    plain.error = std::nullopt;
    plain.conversation = nullptr;
    plain.manualText = "";
    plain.copiedPreview = std::nullopt;
    return generation;
}

void OrvelModel::load(std::string path) {
    const auto generation = beginLoad();
    plain.filePath = path;
    tasks.start(loadFile(std::move(path), plain.source, generation));
}

void OrvelModel::openFile(std::string path) {
    const auto generation = beginLoad();
    plain.filePath = path;
    tasks.start(recognizeAndLoad(std::move(path), generation));
}

Task<void> OrvelModel::recognizeAndLoad(std::string path, Generation::Value generation) {
    const auto recognize = [path] { return ConversationCatalog::recognizedAgent(path); };
    std::optional<Agent> agent;
    try {
        agent = co_await desktop.loop.background(recognize);
    } catch (const std::exception&) {
        // The load fails as well then and says so.
    }
    if (!plain.loadGeneration.isCurrent(generation)) co_return;
    if (agent) setSource(*agent);
    co_await loadFile(std::move(path), plain.source, generation);
}

Task<void> OrvelModel::loadFile(std::string path, Agent source, Generation::Value generation) {
    SharedConversation loaded;
    std::string failure;
    try {
        loaded = co_await readWhole(path, source);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (!plain.loadGeneration.isCurrent(generation)) co_return;
    if (loaded) {
        finishLoad(loaded, path, source);
    } else {
        plain.error = failure;
        plain.status = "Couldn't load the conversation.";
    }
    plain.isLoading = false;
}

// A file that holds only the tail of its conversation is read as its reference is.
Task<SharedConversation> OrvelModel::readWhole(std::string path, Agent source) {
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
    auto result = co_await desktop.loop.background(read);
    if (!result.inheriting) co_return result.conversation;
    co_return co_await reading.readReference(std::move(*result.inheriting));
}

void OrvelModel::finishLoad(const SharedConversation& loaded, const std::string& path, Agent source) {
    plain.conversation = loaded;
    plain.filePath = path;
    plain.manualText = "";
    relays.sourceReference = catalogEntry(source, loaded->id, path);
    if (plain.destinationConversation->empty()) restoreDestinationConversation();
    selectUnsentRange();
    plain.status =
        fmt::format("{} messages loaded. Check the destination and message range.", loaded->messages.size());
    recordRecent(*loaded, path, source);
}

void OrvelModel::recordRecent(const Conversation& loaded, const std::string& path, Agent source) try {
    recentStore.record(source, loaded.title, path, desktop.loop.now());
    plain.recentConversations = recentStore.entries();
} catch (const std::exception& failure) {
    plain.error = fmt::format(
        "The conversation was loaded, but couldn't be saved to recent conversations.\n{}", failure.what());
}

void OrvelModel::selectRange(std::optional<std::string> messageID) {
    if (isBusyWithMessage()) return;
    relays.commandEditGeneration.renew();
    const auto& conversation = plain.conversation.get();
    plain.startIndex =
        conversation && messageID ? positionOf(conversation->messages, *messageID).value_or(0) : 0;
    plain.selectedStartMessageID = std::move(messageID);
    saveCurrentDraft();
}

void OrvelModel::setInstruction(std::string text) {
    if (isBusyWithMessage()) return;
    relays.commandEditGeneration.renew();
    if (editingSavedTransfer() && !noteIsForNextTransfer()) {
        plain.selectedStartMessageID = std::nullopt;
        plain.startIndex = 0;
    }
    plain.instruction = std::move(text);
    saveCurrentDraft();
}

std::optional<std::string> OrvelModel::checkpointKey() const {
    const auto destination = trimmed(plain.destinationConversation.get());
    if (!plain.conversation.get() || destination.empty()) return std::nullopt;
    return HandoffState::key(plain.source, plain.conversation.get()->id, plain.destination, destination);
}

void OrvelModel::selectUnsentRange() {
    if (!plain.conversation.get()) return;
    std::optional<std::string> lastDelivered;
    if (const auto key = checkpointKey()) {
        const auto found = plain.state.checkpoints.find(*key);
        if (found != plain.state.checkpoints.end()) lastDelivered = found->second;
    }
    plain.startIndex = HandoffFormatter::nextIndex(plain.conversation.get()->messages, lastDelivered);
    plain.selectedStartMessageID = std::nullopt;
}

void OrvelModel::restoreDestinationConversation() {
    const auto found =
        plain.state.lastDestinations.find(HandoffState::directionKey(plain.source, plain.destination));
    plain.destinationConversation = found == plain.state.lastDestinations.end() ? "" : found->second;
    selectUnsentRange();
}

// The choice among ten thousand messages is made once, not at each look.
SelectedMessages OrvelModel::selectedMessages() const {
    const SelectionBasis basis{relays.selectedPairID.revision(),
                               relays.relayState.revision(),
                               plain.conversation.revision(),
                               plain.source.revision(),
                               plain.selectedStartMessageID.revision(),
                               plain.startIndex.revision(),
                               plain.manualText.revision()};
    if (!selection || selection->first != basis) selection.emplace(basis, newSelection());
    return selection->second;
}

SelectedMessages OrvelModel::newSelection() const {
    const auto& conversation = plain.conversation.get();
    if (const auto pair = activePair(); pair && conversation) try {
            if (noteIsForNextTransfer()) return SelectedMessages(nextTransferMessages(*conversation));
            return SelectedMessages(relays.relayState->preview(pair->id, plain.source, *conversation,
                                                               plain.selectedStartMessageID));
        } catch (const std::exception&) {
            return {};
        }
    if (!conversation) {
        if (trimmed(plain.manualText.get()).empty()) return {};
        return SelectedMessages({Message{.id = "manual", .role = "context", .text = plain.manualText}});
    }
    const auto& chosen = plain.selectedStartMessageID.get();
    const auto start = chosen ? positionOf(conversation->messages, *chosen) : std::nullopt;
    return {conversation, std::min(start.value_or(plain.startIndex), conversation->messages.size())};
}

std::string OrvelModel::preview() const {
    const auto messages = selectedMessages();
    return RelayFormatter::render(plain.source, messages.span(), plain.instruction.get(),
                                  sourceSpeakerLabel());
}

bool OrvelModel::startsAtCheckpoint() const {
    if (const auto pair = activePair())
        return !plain.selectedStartMessageID.get() &&
               relays.relayState->checkpoints.contains(positionKey(pair->id, plain.source));
    return plain.conversation.get() && !plain.selectedStartMessageID.get() && plain.startIndex > 0;
}

void OrvelModel::copy(Pasteboard& pasteboard) {
    if (!activePair()) return copyPlain(pasteboard);
    if (plain.isLoading || isBusyWithMessage()) return;
    relays.isPreparing = true;
    tasks.start(copyRelay(pasteboard));
}

void OrvelModel::copyPlain(Pasteboard& pasteboard) {
    auto text = preview();
    if (text.empty() || plain.isLoading) {
        plain.error = plain.isLoading ? "Wait for the conversation to finish loading before copying."
                                      : "Enter a conversation or instructions to copy.";
        return;
    }
    pasteboard.clearContents();
    if (!pasteboard.setString(text)) {
        plain.error = "Couldn't copy to the clipboard. Try again.";
        return;
    }
    plain.error = std::nullopt;
    plain.copiedPreview = std::move(text);
    const auto messages = selectedMessages();
    plain.copiedLastMessageID =
        messages.span().empty() ? std::nullopt : std::optional(messages.span().back().id);
    plain.copiedCheckpointKey = checkpointKey();
    plain.status =
        fmt::format("Copied. Destination: {}. Paste into the intended conversation and send. Copying alone "
                    "does not confirm delivery.",
                    label(plain.destination));
}

} // namespace orvel
