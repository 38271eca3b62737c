#include "Orvel/model/Receipts.h"

#include "Orvel/model/Catalogue.h"
#include "Orvel/model/NewConversations.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/OutboxState.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <fmt/format.h>

namespace orvel {

namespace {

// Whether a draft still is what went out with the transfer.
bool isUsedUp(const RelayTransfer& transfer, const std::string& instruction,
              const std::optional<std::string>& startMessageID) {
    return startMessageID == transfer.startMessageID &&
           (instruction.empty() || trimmed(instruction) == transfer.instruction);
}

} // namespace

Receipts::Receipts(const ChangeSignal& changes, const ReceiptsNeeds& needs)
    : needs(needs),
      isCheckingReceipts(changes),
      tasks([this](const auto& failure) { this->needs.notices.fail(failure); }) {}

void Receipts::startReceiptPolling(MainLoop::Duration interval) {
    if (!receiptPollingTimer) pollReceipts(interval);
}

void Receipts::pollReceipts(MainLoop::Duration interval) {
    receiptPollingTimer = needs.loop.after(interval, [this, interval] {
        pollReceipts(interval);
        checkRelayReceipts();
    });
}

void Receipts::checkRelayReceipts() {
    needs.workspace.refreshUnpairedBusySource();
    const auto& state = needs.ledger.state().relayState.get();
    const bool hasWork = !state.pairs.empty() || !state.initialTransfers.empty();
    if (hasWork && !isCheckingReceipts && !needs.operation.isUnderWay()) tasks.start(receiptPass());
}

Task<void> Receipts::receiptPass() {
    const WhileTrue checking(isCheckingReceipts);
    const auto& workspace = needs.workspace.state();
    const auto generation = workspace.relayLoadGeneration.current();
    const auto fresh = co_await readAll();
    needs.readings.merge(fresh.readings);
    tell(co_await takeReceipts(fresh));
    const auto pair = needs.workspace.relay().activePair();
    if (!pair || !workspace.relayLoadGeneration.isCurrent(generation)) co_return;
    const auto shown = fresh.readings.find(ConversationReader::key(pair->endpoint(workspace.source)));
    if (shown != fresh.readings.end() && shown->second != workspace.conversation.get())
        needs.workspace.showReading(shown->second);
}

// New conversations are looked for only while a first message waits for one.
Task<Receipts::Fresh> Receipts::readAll() {
    std::vector<ConversationReference> references;
    for (const auto& pair : needs.ledger.state().relayState->pairs) {
        references.push_back(pair.codex);
        references.push_back(pair.claude);
    }
    std::vector<RelayInitialTransfer> waiting;
    for (const auto& initial : needs.ledger.state().relayState->pendingInitialTransfers())
        waiting.push_back(initial);
    Fresh fresh;
    fresh.readings = co_await needs.reader.readChanged(std::move(references));
    if (!waiting.empty())
        fresh.newcomers = co_await readNewConversations(needs.loop, needs.reader,
                                                        needs.catalogue.agentFolders(), std::move(waiting));
    co_return fresh;
}

Task<ReceiptLook> Receipts::takeReceipts(Fresh fresh) {
    const auto& workspace = needs.workspace.state();
    const auto edit = workspace.commandEditGeneration.current();
    ReceiptLook look;
    const auto take = [&](RelayState& state) { return reconcile(state, fresh, look); };
    std::optional<std::string> failed;
    try {
        const auto shown = co_await needs.ledger.change(take);
        // What was typed while the receipt was being saved stays.
        if (shown.draft && workspace.commandEditGeneration.isCurrent(edit))
            needs.workspace.showDraft(*shown.draft);
        if (shown.bound) needs.workspace.openFounded(*shown.bound);
    } catch (const std::exception& failure) {
        failed = failure.what();
        for (const auto& id : std::exchange(look.received, {}))
            look.problems[id] = {"The message has arrived, but its receipt could not be saved.\n" + *failed,
                                 true};
    }
    const auto before = std::exchange(unsaved, failed);
    if (failed && failed != before && look.problems.empty()) needs.notices.say(*failed);
    co_return look;
}

Receipts::Shown Receipts::reconcile(RelayState& state, const Fresh& fresh, ReceiptLook& look) {
    Shown shown;
    bindInitials(state, fresh, look, shown);
    try {
        supplementClaudeDesktopReferences(state, needs.catalogue.state().catalog.get());
    } catch (const RelayError& failure) {
        needs.notices.say(failure.what());
    }
    shown.draft = reconcilePending(state, fresh.readings, look);
    return shown;
}

void Receipts::bindInitials(RelayState& state, const Fresh& fresh, ReceiptLook& look, Shown& shown) {
    for (const auto& [id, recipient] :
         uniqueInitialRecipients(initialReceiptCandidates(state, fresh.newcomers, needs.ledger.stamp()))) {
        const auto read = std::find_if(fresh.newcomers.begin(), fresh.newcomers.end(),
                                       [&](const auto& each) { return each.reference == recipient; });
        auto bound = state;
        try {
            bound.bindInitial(id, recipient, needs.ledger.stamp());
            if (!bound.reconcile(id, *read->conversation)) continue;
        } catch (const RelayError& failure) {
            needs.notices.say(failure.what());
            continue;
        }
        state = std::move(bound);
        look.received.push_back(id);
        if (needs.workspace.state().selectedInitialID.get() == id) shown.bound = id;
    }
}

// What stands in the way is told when it begins or changes, not at each pass.
void Receipts::tell(const ReceiptLook& look) {
    for (const auto& [id, problem] : look.problems) {
        const auto before = problems.find(id);
        if (before == problems.end() || before->second != problem) needs.notices.say(problem.text);
    }
    problems = look.problems;
    onLooked(look);
}

// Gives what becomes of the note and the range that are shown, once the records are saved. A message that
// can't be looked for keeps no other from its receipt.
std::optional<RelayDraft> Receipts::reconcilePending(RelayState& state, const Readings& fresh,
                                                     ReceiptLook& look) {
    const auto& workspace = needs.workspace.state();
    std::optional<RelayDraft> shown;
    const auto searchedBefore = std::exchange(searchedInVain, {});
    for (const auto& transfer : state.pendingTransfers()) {
        const auto pair = state.pairs.find(transfer.pairID);
        if (!pair) continue;
        const auto& destination = pair->endpoint(other(transfer.source));
        const auto found = fresh.find(ConversationReader::key(destination));
        const auto searched = searchedBefore.find(transfer.id);
        const bool isAsBefore =
            searched != searchedBefore.end() && (found == fresh.end() || searched->second == found->second);
        if (isAsBefore) {
            searchedInVain.insert(*searched);
            if (const auto problem = problems.find(transfer.id); problem != problems.end())
                look.problems.insert(*problem);
        }
        if (isAsBefore || found == fresh.end()) continue;
        const auto& conversation = found->second;
        const auto draft = state.draft(pair->id, transfer.source);
        const bool keepsNote = draft.isForNextTransfer() || needs.outbox.mayRetry(transfer);
        bool isReceived = false;
        try {
            isReceived = state.reconcile(transfer.id, *conversation);
        } catch (const RelayError& failure) {
            look.problems[transfer.id] = {fmt::format("The message can't be looked for in “{}”. {}",
                                                      destination.title, failure.what())};
        }
        if (!isReceived) {
            searchedInVain.emplace(transfer.id, conversation);
            continue;
        }
        look.received.push_back(transfer.id);

        const bool isLinked = state.link(pair->id) != nullptr;
        if (!isLinked && !keepsNote && isUsedUp(transfer, draft.instruction, draft.startMessageID))
            state.setDraft(pair->id, transfer.source, "", std::nullopt, false);
        if (workspace.selectedPairID.get() != pair->id) continue;
        if (isLinked)
            shown = state.draft(pair->id, workspace.source);
        else if (workspace.source == transfer.source && keepsNote)
            shown = state.draft(pair->id, transfer.source);
        else if (workspace.source == transfer.source &&
                 isUsedUp(transfer, workspace.instruction, workspace.selectedStartMessageID))
            shown = RelayDraft();
    }
    return shown;
}

} // namespace orvel
