#include "Orvel/model/CommandInbox.h"

#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/FileStore.h"
#include "Orvel/model/Catalogue.h"
#include "Orvel/model/Chains.h"
#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/Outbox.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/RelayLinkManagement.h"
#include "Orvel/model/Workspace.h"
#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/UUID.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace orvel {

namespace {

/// Between two looks whether the start is over.
constexpr MainLoop::Duration restInterval = std::chrono::milliseconds(50);

constexpr std::string_view desktopIDPrefix = "local_";
constexpr auto sendingStopped = "Automatic sending stopped. Review the message preview.";

bool isDesktopID(std::string_view id) {
    return id.starts_with(desktopIDPrefix) && isUUID(id.substr(desktopIDPrefix.size()));
}

// A draft with a command's instructions behind what stands there. Of a message that waits for its receipt the
// shown note is that message's own: what comes now is for the one after it.
RelayDraft draftWith(const RelayDraft& draft, const std::string& instruction, bool isPending) {
    const bool startsNext = isPending && !draft.isForNextTransfer();
    RelayDraft placed;
    placed.instruction = startsNext ? instruction : appendingNote(draft.instruction, instruction);
    if (!startsNext || instruction.empty()) placed.startMessageID = draft.startMessageID;
    if (isPending && (!startsNext || !instruction.empty())) placed.nextTransfer = true;
    return placed;
}

// Throws unless what stands in the file is the conversation that was found.
ConversationReference provedBy(const ConversationReference& inFile, ConversationReference found) {
    if (!sameIdentity(inFile, found)) throw RelayError(RelayError::Case::conversationMismatch);
    return found;
}

// The one reference of the catalogue that stands for the conversation in the file. Reads files.
ConversationReference referenceAsked(const HandoffRequest& request, const AgentFolders& folders) {
    const auto inFile = ConversationCatalog::reference(*request.file, request.source);
    if (inFile.sessionID != *request.sessionID) throw RelayError(RelayError::Case::conversationMismatch);
    const auto references = ConversationCatalog::list(folders);
    return provedBy(inFile, ConversationCatalog::resolve(request.source, inFile.sessionID, references));
}

} // namespace

CommandInbox::CommandInbox(const CommandInboxNeeds& needs, std::string keptPath)
    : needs(needs),
      keptPath(std::move(keptPath)),
      turns(needs.loop),
      tasks([this](const auto& failure) { this->needs.notices.fail(failure); }) {}

void CommandInbox::receiveInterceptedCommand(CapturedCommand captured) {
    intent.reset();
    const Moment moment{arrivals.renew(), needs.workspace.state().commandEditGeneration.current()};
    tasks.start(receive(std::move(captured), moment));
}

void CommandInbox::open(std::string_view url) {
    const auto request = HandoffRequest::parse(url);
    if (!request) return needs.notices.fail("Couldn't read the Orvel URL.");
    intent.reset();
    arrivals.renew();
    if (request->sessionID) {
        tasks.start(receiveIdentifiedHandoff(*request));
    } else {
        try {
            requireFreedom();
            needs.workspace.apply(*request);
        } catch (const RelaySendError& refusal) {
            fail(refusal.what(), request->instruction);
        }
    }
    needs.applications.activateSelf();
}

Task<void> CommandInbox::receive(CapturedCommand captured, Moment moment) {
    const auto turn = co_await turns.next();
    const auto& instruction = captured.command.instruction;
    const bool isClaude = captured.source == Agent::claude;
    const auto& workspace = needs.workspace.state();
    const auto load = workspace.relayLoadGeneration.current();
    try {
        requireFreedom();
        if (!captured.identity) {
            needs.workspace.apply({.source = captured.source, .instruction = instruction});
            needs.notices.say(
                fmt::format("{} /orvel received. {}", label(captured.source),
                            isClaude ? "Paste the regular Claude conversation with speaker names."
                                     : "Choose the current conversation file or paste the conversation."));
            tasks.start(forgetKept());
            co_return;
        }
        if (isClaude) needs.notices.say("Identifying the current Claude Code conversation.");
        const auto reference = co_await identify(captured.source, *captured.identity);
        requireLoad(load);
        const bool isQuiet =
            arrivals.isCurrent(moment.arrival) && workspace.commandEditGeneration.isCurrent(moment.edit);
        applyIdentifiedCommand(instruction, reference, captured.isRemoved && isQuiet);
        tasks.start(forgetKept());
    } catch (const std::exception& failure) {
        fail(failure.what(), instruction);
        if (isClaude)
            needs.notices.say("Couldn't identify the conversation. Existing instructions and transfer "
                              "content are kept.");
    }
}

Task<void> CommandInbox::keep(const CapturedCommand& captured) {
    return needs.files.replaceFile(keptPath, captured.command.instruction);
}

// Behind the note in which they stand. What can't be removed is told once more at the next start.
Task<void> CommandInbox::forgetKept() {
    try {
        co_await needs.ledger.change([](RelayState&) {});
        co_await needs.ledger.unlinkedDrafts.save();
        const std::string nothing;
        if (!needs.ledger.hasUnsavedDraft()) co_await needs.files.replaceFile(keptPath, nothing);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
    }
}

void CommandInbox::restore() {
    tasks.start(tellKept());
}

Task<void> CommandInbox::tellKept() {
    const auto read = [path = keptPath] {
        return fileExists(path) ? readFile(path, OrvelCommand::maximumBytes) : std::string();
    };
    const auto kept = co_await needs.loop.background(read);
    if (kept.empty()) co_return;
    while (!needs.workspace.isIdle() || !needs.links.isIdle() || !needs.chains.isIdle())
        co_await needs.loop.sleep(restInterval);
    fail("Orvel ended before it was certain that a typed command reached its conversation. Look there first.",
         kept);
    const std::string nothing;
    co_await needs.files.replaceFile(keptPath, nothing);
}

Task<ConversationReference> CommandInbox::identify(Agent source, CapturedConversationIdentity identity) {
    if (const auto* reference = std::get_if<ConversationReference>(&identity)) {
        if (source != Agent::codex || reference->agent != Agent::codex)
            throw RelaySendError("The captured conversation type does not match.");
        co_await needs.reader.readReference(*reference); // Proves that it can be read.
        co_return *reference;
    }
    const auto& id = std::get<ClaudeDesktopID>(identity).text;
    if (source != Agent::claude || !isDesktopID(id))
        throw RelaySendError("Couldn't verify the Claude Code conversation ID.");
    const auto find = [id, folders = needs.catalogue.agentFolders()] {
        return ConversationCatalog::resolve(Agent::claude, id, ConversationCatalog::list(folders));
    };
    co_return co_await needs.loop.background(find);
}

Task<void> CommandInbox::receiveIdentifiedHandoff(HandoffRequest request) {
    const auto turn = co_await turns.next();
    const auto load = needs.workspace.state().relayLoadGeneration.current();
    try {
        requireFreedom();
        needs.notices.dismissError();
        needs.notices.say(
            fmt::format("{} conversation ID and transcript are being verified.", label(request.source)));
        const auto reference = co_await resolveHandoff(request);
        requireLoad(load);
        applyIdentifiedCommand(request.instruction, reference, false);
    } catch (const std::exception& failure) {
        fail(std::string(failure.what()) + "\nThe conversation and saved transfers were not changed.",
             request.instruction, ' ');
    }
}

Task<ConversationReference> CommandInbox::resolveCopiedCodex(std::string id) {
    const auto find = [id, folders = needs.catalogue.agentFolders()] {
        auto found = ConversationCatalog::resolve(Agent::codex, id, ConversationCatalog::list(folders));
        const auto inFile = ConversationCatalog::reference(found.transcriptPath, Agent::codex);
        return provedBy(inFile, std::move(found));
    };
    auto found = co_await needs.loop.background(find);
    co_await needs.reader.readReference(found); // Proves that it can be read.
    co_return found;
}

Task<ConversationReference> CommandInbox::resolveHandoff(HandoffRequest request) {
    const auto find = [request, folders = needs.catalogue.agentFolders()] {
        return referenceAsked(request, folders);
    };
    auto found = co_await needs.loop.background(find);
    co_await needs.reader.readReference(found); // Proves that it can be read, and is the conversation.
    co_return found;
}

// The link that is open comes first, then the only one.
void CommandInbox::applyIdentifiedCommand(const std::string& instruction,
                                          const ConversationReference& reference, bool sendsAutomatically) {
    requireFreedom();
    if (placeBehindInitial(instruction, reference)) return;
    if (needs.chains.prepareChainCommandContext(instruction, reference)) return;
    const auto candidates = needs.links.activeLinks(reference);
    const auto open = std::find_if(candidates.begin(), candidates.end(), [this](const RelayPair& pair) {
        return pair.id == needs.workspace.state().selectedPairID.get();
    });
    if (open != candidates.end())
        placeInPair(instruction, *open, reference, sendsAutomatically);
    else if (candidates.size() == 1)
        placeInPair(instruction, candidates.front(), reference, sendsAutomatically);
    else
        placeInSource(instruction, reference, !candidates.empty());
}

// A first message that goes out from the conversation is left as it is.
bool CommandInbox::placeBehindInitial(const std::string& instruction,
                                      const ConversationReference& reference) {
    const auto& records = needs.ledger.state();
    const auto initials = records.relayState->initialTransfers.where([&](const auto& initial) {
        return initial.isPending() && sameIdentity(initial.sourceReference, reference);
    });
    if (initials.empty()) return false;
    if (initials.size() > 1) throw ConversationCatalogError(ConversationCatalogError::Case::ambiguous);
    appendNextNote(initials.back(), instruction);
    needs.workspace.openInitial(initials.back());
    needs.notices.say("The initial message is kept. These instructions were saved for the next transfer.");
    return true;
}

void CommandInbox::appendNextNote(const RelayInitialTransfer& initial, const std::string& instruction) {
    auto draft = needs.ledger.state().nextDraft(initial);
    draft.instruction = appendingNote(draft.instruction, instruction);
    needs.ledger.setNextDraft(initial.id, std::move(draft));
}

// The note stands in memory before the pair is opened, so that no key that is typed meanwhile can write the
// old one over it.
void CommandInbox::placeInPair(const std::string& instruction, const RelayPair& pair,
                               const ConversationReference& reference, bool sendsAutomatically) {
    const auto agent = reference.agent;
    const auto& records = needs.ledger.state();
    const auto pending = records.relayState->pendingTransfer(pair.id);
    const bool isPending = pending && pending->source == agent;
    const auto initial = isPending ? records.relayState->initialTransfers.find(pending->id) : nullptr;
    if (initial)
        appendNextNote(*initial, instruction);
    else
        needs.ledger.setDraft(pair.id, agent,
                              draftWith(records.draft(pair.id, agent), instruction, isPending));
    needs.workspace.openPair(pair, agent);
    if (isPending)
        needs.notices.say("The pending message is kept. These instructions are for the next transfer.");
    if (sendsAutomatically) prepareCommandRelayIntent(pair, reference);
}

void CommandInbox::placeInSource(const std::string& instruction, const ConversationReference& reference,
                                 bool hasSeveralLinks) {
    // What was typed for it before stands there again.
    needs.workspace.chooseSource(reference);
    const auto& workspace = needs.workspace.state();
    needs.workspace.keepDraft({.instruction = appendingNote(workspace.instruction, instruction),
                               .startMessageID = workspace.selectedStartMessageID,
                               .nextTransfer = {}});
    needs.notices.say(
        hasSeveralLinks
            ? "This conversation has multiple links. Choose the destination from the other card."
            : fmt::format("{} conversation loaded. Choose a destination conversation or start a new one.",
                          label(reference.agent)));
}

// A link has proved itself by its first receipt.
void CommandInbox::prepareCommandRelayIntent(const RelayPair& pair, const ConversationReference& reference) {
    const RelayState& state = needs.ledger.state().relayState;
    const auto isReceived = [&](const RelayTransfer& transfer) {
        return transfer.pairID == pair.id && transfer.status == RelayTransfer::Status::received;
    };
    const auto& workspace = needs.workspace.state();
    if (workspace.chainDestinationUnselected || needs.workspace.relay().activeInitial() ||
        !state.transfers.findIf(isReceived) || state.pendingTransfer(pair.id))
        return;
    intent = RelayIntent{pair.id,
                         reference,
                         workspace.relayLoadGeneration.current(),
                         workspace.commandEditGeneration.current(),
                         workspace.instruction,
                         workspace.selectedStartMessageID};
}

// While the send reads the conversations afresh, the note and the range can't be edited, so that what was
// compared here is what goes out.
void CommandInbox::finishCommandRelayIntent() {
    const auto& workspace = needs.workspace.state();
    if (!intent || workspace.isLoading) return;
    const auto kept = *std::exchange(intent, std::nullopt);
    if (!workspace.relayLoadGeneration.isCurrent(kept.load)) return; // Something else was opened.
    if (!isAsIntended(kept)) return needs.notices.say(sendingStopped);
    if (needs.ledger.state().relayState->pendingTransfer(kept.pairID) ||
        needs.workspace.relay().activeInitial())
        return;
    if (workspace.conversation.get()->isBusy)
        return needs.notices.say("Automatic sending was skipped while a reply is in progress. Press Send "
                                 "after it finishes.");
    if (needs.workspace.relay().preview().empty())
        return needs.notices.say("Nothing was sent because there are no new messages or instructions.");
    if (!needs.outbox.canSendRelay()) return needs.notices.say(sendingStopped);
    needs.outbox.sendRelay();
}

bool CommandInbox::isAsIntended(const RelayIntent& kept) const {
    const auto& workspace = needs.workspace.state();
    const auto pair = needs.workspace.relay().activePair();
    return !needs.notices.error() && !workspace.chainDestinationUnselected && workspace.conversation.get() &&
           workspace.commandEditGeneration.isCurrent(kept.edit) && pair && pair->id == kept.pairID &&
           workspace.source == kept.source.agent && workspace.sourceReference &&
           sameIdentity(*workspace.sourceReference, kept.source) &&
           workspace.instruction.get() == kept.instruction &&
           workspace.selectedStartMessageID.get() == kept.startMessageID;
}

void CommandInbox::requireFreedom() const {
    if (needs.operation.isUnderWay())
        throw RelaySendError("Couldn't switch conversations during a transfer.");
}

// Who opens something meanwhile is looking at that.
void CommandInbox::requireLoad(Generation::Value load) const {
    if (!needs.workspace.state().relayLoadGeneration.isCurrent(load))
        throw RelaySendError("Another conversation was opened while this one was being identified.");
}

void CommandInbox::fail(const std::string& complaint, const std::string& instruction, char separator) {
    needs.notices.fail(instruction.empty()
                           ? complaint
                           : fmt::format("{}{}Received instructions: {}", complaint, separator, instruction));
}

} // namespace orvel
