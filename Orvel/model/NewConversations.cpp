#include "Orvel/model/NewConversations.h"

#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Panels.h"
#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/model/Chains.h"
#include "Orvel/model/InitialRecipients.h"
#include "Orvel/model/Outbox.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "Orvel/runtime/Random.h"
#include "OrvelCore/addresses/CodexDeepLink.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/relay/RelayError.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace orvel {

std::optional<std::string>
NewConversationsState::completedCreation(const std::optional<ConversationReference>& codex) const {
    std::optional<std::string> found;
    for (const auto& [id, reference] : completedCodexCreations.get()) {
        if (!codex || !sameIdentity(reference, *codex)) continue;
        if (found) return std::nullopt;
        found = id;
    }
    return found;
}

Task<std::vector<ReadConversation>> readNewConversations(MainLoop& loop, ConversationReader& reader,
                                                         AgentFolders folders,
                                                         std::vector<RelayInitialTransfer> initials) {
    const auto discover = [folders, initials] {
        auto found = ConversationCatalog::list(folders);
        std::erase_if(found, [&](const ConversationReference& reference) {
            return std::none_of(initials.begin(), initials.end(), [&](const RelayInitialTransfer& initial) {
                return mayBeFoundedBy(reference, initial);
            });
        });
        return found;
    };
    const auto references = co_await loop.background(discover);
    const auto readings = co_await reader.readChanged(references);
    std::vector<ReadConversation> read;
    for (const auto& reference : references) {
        const auto reading = readings.find(ConversationReader::key(reference));
        if (reading != readings.end()) read.push_back({reference, reading->second});
    }
    co_return read;
}

NewConversations::NewConversations(const ChangeSignal& changes, const NewConversationsNeeds& needs,
                                   AgentFolders folders)
    : needs(needs),
      held(changes),
      folders(std::move(folders)),
      codex(needs.loop, needs.processes, needs.reader, this->folders),
      tasks([this](const auto& failure) { this->needs.notices.fail(failure); }) {}

const OpenRelay& NewConversations::relay() const {
    return needs.workspace.relay();
}

// Choosing

void NewConversations::useNewDestination(Agent agent) {
    const auto source = relay().cardReference(other(agent));
    if (!source || needs.operation.isUnderWay()) return;
    if (const auto waiting = needs.ledger.state().relayState->pendingInitial(*source))
        return needs.workspace.openInitial(*waiting);
    const auto& open = needs.workspace.state();
    const auto pair = relay().activePair();
    const bool isShown = open.source == source->agent;
    const bool isOwn = isShown && (!relay().editingSavedTransfer() || relay().noteIsForNextTransfer());
    Workspace::NewConversation wanted{.source = *source, .speakerContext = {}, .attachment = {}, .draft = {}};
    if (isOwn)
        wanted.draft = {.instruction = open.instruction,
                        .startMessageID = open.selectedStartMessageID,
                        .nextTransfer = {}};
    else if (pair && !isShown)
        wanted.draft = needs.ledger.state().draft(pair->id, source->agent);
    try {
        if (pair)
            wanted.speakerContext = needs.ledger.state().relayState->speakerContextForReplacement(pair->id);
    } catch (const RelayError& failure) {
        return needs.notices.fail(failure.what());
    }
    needs.workspace.prepareNewConversation(wanted);
}

void NewConversations::chooseCreationFolder() {
    const OpenPanel panel{.message = "Choose the working folder for the new Codex conversation.",
                          .folder = folders.home,
                          .kind = OpenPanel::Kind::folder};
    if (auto folder = needs.panels.choose(panel)) needs.workspace.setCreationFolder(std::move(*folder));
}

std::optional<std::string> NewConversations::refusal() const {
    const auto& open = needs.workspace.state();
    return open.destination == Agent::codex ? codex.refusal(open.creationFolder) : std::nullopt;
}

// Saving

// Once the message is saved, only a conversation that was not there before can be the new one.
Task<RelayInitialTransfer> NewConversations::prepareInitial() {
    const auto& open = needs.workspace.state();
    const auto source = open.sourceReference;
    if (!source) throw RelayError(RelayError::Case::conversationMismatch);
    if (const auto initial = relay().activeInitial()) {
        if (const auto& attachment = initial->linkAttachment)
            needs.ledger.state().relayState->requireExtensible(*attachment, *source, initial->id);
        co_return *initial;
    }
    const auto generation = open.relayLoadGeneration.current();
    const auto destination = open.destination.get();
    const auto list = [folders = folders, destination] {
        std::vector<std::string> ids;
        for (const auto& reference : ConversationCatalog::list(folders))
            if (reference.agent == destination) ids.push_back(reference.id());
        return ids;
    };
    const auto existing = co_await needs.loop.background(list);
    const auto conversation = co_await needs.workspace.checkedSource(*source);
    const auto prepare = [&](RelayState& state) {
        if (!open.relayLoadGeneration.isCurrent(generation)) throw RelaySendError(Workspace::rangeChanged);
        if (const auto& attachment = open.newConversationAttachment.get())
            state.requireExtensible(*attachment, *source, std::nullopt);
        return state.prepareInitial({.sourceReference = *source,
                                     .conversation = *conversation,
                                     .instruction = open.instruction.get(),
                                     .startMessageID = open.selectedStartMessageID.get(),
                                     .existingDestinationIDs = Shared<std::vector<std::string>>(existing),
                                     .speakerContext = open.replacementSpeakerContext,
                                     .linkAttachment = open.newConversationAttachment.get()},
                                    needs.ledger.stamp());
    };
    const auto initial = co_await needs.ledger.change(prepare);
    needs.workspace.adoptInitial(initial.id);
    needs.workspace.forgetUnlinkedDraft(*source);
    co_return initial;
}

void NewConversations::copyInitial(Pasteboard& pasteboard) {
    if (isOccupied(needs.operation, needs.workspace.state())) return;
    tasks.start(copy(needs.operation.begin(MessageOperation::Kind::preparing), pasteboard));
}

Task<void> NewConversations::copy([[maybe_unused]] Guard operation, Pasteboard& pasteboard) {
    try {
        const auto initial = co_await prepareInitial();
        pasteboard.clearContents();
        if (!pasteboard.setString(*initial.payload))
            throw RelaySendError("Couldn't copy. The message has been saved.");
        needs.workspace.clearInstruction();
        needs.notices.say("Waiting for paste — Paste into a new conversation, then select it from the "
                          "destination card.");
    } catch (const std::exception& failure) {
        needs.notices.fail(failure.what());
    }
}

// Starting

void NewConversations::startNewRelay() {
    if (!needs.outbox.canSendRelay() || relay().activePair()) return;
    if (const auto obstacle = refusal()) return needs.notices.fail(*obstacle);
    tasks.start(start(needs.operation.begin(MessageOperation::Kind::preparing)));
}

// The record says that the message may be on its way before anything outside is touched.
Task<void> NewConversations::start(Guard operation) {
    std::optional<RelayInitialTransfer> initial;
    std::optional<ConversationReference> destination;
    std::optional<std::string> obstacle;
    try {
        const bool isRetry = relay().activeInitial() != nullptr;
        initial = co_await prepareInitial();
        if (isRetry) destination = co_await recoverInitialRecipient(*initial);
        const auto submit = [id = initial->id](RelayState& state) { state.markInitialSubmitted(id); };
        co_await needs.ledger.change(submit);
    } catch (const std::exception& failure) {
        obstacle = failure.what();
    }
    if (obstacle) {
        needs.notices.fail(*obstacle);
        co_return;
    }
    operation.beginSending();
    needs.notices.dismissError();
    needs.workspace.clearInstruction();
    needs.outbox.forgetFailure(initial->id);

    std::optional<DeliveryFailure> failure;
    if (!destination) try {
            destination = co_await startConversation(*initial);
        } catch (const RelaySendError& error) {
            failure = {error.what(), error.canRetry()};
        } catch (const std::exception& error) {
            failure = {error.what()};
        }
    if (failure) try {
            destination = co_await recoverInitialRecipient(*initial);
        } catch (const std::exception& error) {
            failure->text += std::string("\n") + error.what();
        }
    if (destination) failure = co_await adopt(*initial, *destination);
    if (failure) co_await recordFailure(initial->id, std::move(*failure));
    operation.end();
    if (const auto pair = needs.workspace.openFounded(initial->id)) {
        needs.chains.rememberChainDirection(*pair, initial->destinationAgent);
        presentCompletedCodexAutomatically(initial->id);
    }
    onDone();
}

Task<ConversationReference> NewConversations::startConversation(RelayInitialTransfer initial) {
    if (initial.destinationAgent == Agent::claude) return startClaude(std::move(initial));
    const CodexConversationStart::Completion completed =
        [this, id = initial.id](const ConversationReference& reference,
                                const std::optional<std::string>& failure) {
            receivedCodexCreationCompletion(id, reference, failure);
        };
    return codex.start(std::move(initial), needs.workspace.state().creationFolder->value_or(""), completed);
}

Task<ConversationReference> NewConversations::startClaude(RelayInitialTransfer initial) {
    auto& attempts = needs.claudeSender.attempts();
    attempts.begin(initial.id, randomUUID(), needs.loop.now());
    std::optional<ConversationReference> started;
    std::exception_ptr failure;
    bool canRetry = false;
    try {
        started = co_await needs.claudeSender.start(std::move(initial));
    } catch (const RelaySendError& error) {
        failure = std::current_exception();
        canRetry = error.canRetry();
    } catch (...) {
        failure = std::current_exception();
    }
    attempts.finish(!failure, canRetry, needs.loop.now());
    if (failure) std::rethrow_exception(failure);
    co_return *started;
}

// Throws where several conversations could be the one.
Task<std::optional<ConversationReference>>
NewConversations::recoverInitialRecipient(RelayInitialTransfer initial) {
    std::vector<RelayInitialTransfer> sought(1, initial);
    const auto read = co_await readNewConversations(needs.loop, needs.reader, folders, std::move(sought));
    const auto& state = needs.ledger.state().relayState.get();
    const auto candidates = initialReceiptCandidates(state, read, needs.ledger.stamp());
    const auto recipients = uniqueInitialRecipients(candidates);
    const auto recipient = recipients.find(initial.id);
    if (recipient != recipients.end()) co_return recipient->second;
    if (candidates.contains(initial.id))
        throw RelaySendError(
            "Multiple pending starts or new conversations match the same message. Choose the "
            "conversation from the destination card.");
    co_return std::nullopt;
}

Task<std::optional<DeliveryFailure>> NewConversations::adopt(RelayInitialTransfer initial,
                                                             ConversationReference destination) {
    const auto bind = [&](RelayState& state) {
        state.markInitialSubmitted(initial.id);
        state.bindInitial(initial.id, destination, needs.ledger.stamp());
    };
    try {
        co_await needs.ledger.change(bind);
    } catch (const std::exception& error) {
        co_return DeliveryFailure{.text = fmt::format("The conversation with {} was started, but that could "
                                                      "not be saved. Do not start it again.\n{}",
                                                      label(initial.destinationAgent), error.what()),
                                  .wasHandedOver = true};
    }
    co_return std::nullopt;
}

Task<void> NewConversations::recordFailure(std::string initialID, DeliveryFailure failure) {
    const bool canRetry = failure.canRetry;
    needs.outbox.noteFailure(initialID, std::move(failure));
    try {
        const auto allow = [&](RelayState& state) { state.markInitialRetryable(initialID); };
        if (canRetry) co_await needs.ledger.change(allow);
    } catch (const std::exception& error) {
        needs.notices.fail(error.what());
    }
    needs.notices.say("Couldn't confirm conversation creation. Use Copy saved message to recover.");
}

// Showing in Codex's own application

void NewConversations::receivedCodexCreationCompletion(const std::string& initialID,
                                                       const ConversationReference& reference,
                                                       const std::optional<std::string>& failure) {
    if (failure) return needs.notices.fail(*failure);
    const auto initial = needs.ledger.state().relayState->initialTransfers.find(initialID);
    if (!initial || initial->destinationAgent != Agent::codex) return;
    auto completed = held.completedCodexCreations.get();
    completed.insert_or_assign(initialID, reference);
    held.completedCodexCreations = std::move(completed);
    presentCompletedCodexAutomatically(initialID);
}

void NewConversations::presentCompletedCodexAutomatically(const std::string& initialID) {
    const auto initial = needs.ledger.state().relayState->initialTransfers.find(initialID);
    const auto& open = needs.workspace.state();
    if (held.completedCodexCreations->contains(initialID) && !handledPresentations.contains(initialID) &&
        !needs.operation.isSending() && initial && initial->boundPairID &&
        initial->boundPairID == open.selectedPairID.get() && open.source == Agent::codex)
        openCompletedCodexInDesktop(initialID);
}

void NewConversations::openCompletedCodexInDesktop(const std::string& initialID) {
    const auto completed = held.completedCodexCreations->find(initialID);
    if (completed == held.completedCodexCreations->end()) return;
    handledPresentations.insert(initialID);
    tasks.start(present(initialID, completed->second));
}

// A newer wish takes the place of one that is still being checked.
Task<void> NewConversations::present(std::string initialID, ConversationReference reference) {
    const auto generation = presentations.renew();
    const auto initial = needs.ledger.state().relayState->initialTransfers.find(initialID);
    bool isComplete = false;
    try {
        const auto conversation = co_await needs.reader.readReference(reference);
        isComplete = initial && isCompletedCodex(reference, *conversation, *initial->payload);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
    }
    if (!presentations.isCurrent(generation)) co_return;
    if (!isComplete) {
        needs.notices.say("Couldn't recheck that the Codex reply has finished. Press Open in Codex after it "
                          "finishes.");
        co_return;
    }
    const auto url = "codex://threads/" + reference.sessionID;
    const bool isOpened = CodexDeepLink::threadID(url) && needs.applications.openURL(url);
    needs.notices.say(isOpened ? "Opening in Codex."
                               : "Couldn't open the conversation in Codex. Try Open in Codex again; the "
                                 "message will not be resent.");
}

} // namespace orvel
