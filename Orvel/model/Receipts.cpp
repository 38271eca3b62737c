#include "Orvel/model/Receipts.h"

#include "Orvel/model/Notices.h"
#include "Orvel/model/OutboxState.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "OrvelCore/text/Unicode.h"

#include <chrono>

namespace orvel {

namespace {

constexpr std::chrono::seconds pollingInterval{2};

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

void Receipts::startReceiptPolling() {
    if (!receiptPollingTimer) pollReceipts();
}

void Receipts::pollReceipts() {
    receiptPollingTimer = needs.loop.after(pollingInterval, [this] {
        pollReceipts();
        checkRelayReceipts();
    });
}

void Receipts::checkRelayReceipts() {
    needs.workspace.refreshUnpairedBusySource();
    const bool hasPairs = !needs.ledger.state().relayState->pairs.empty();
    if (hasPairs && !isCheckingReceipts && !needs.operation.isUnderWay()) tasks.start(receiptPass());
}

Task<void> Receipts::receiptPass() {
    const WhileTrue checking(isCheckingReceipts);
    const auto& workspace = needs.workspace.state();
    const auto generation = workspace.relayLoadGeneration.current();
    std::vector<ConversationReference> references;
    for (const auto& pair : needs.ledger.state().relayState->pairs) {
        references.push_back(pair.codex);
        references.push_back(pair.claude);
    }
    const auto fresh = co_await needs.reader.readChanged(std::move(references));
    needs.readings.merge(fresh);
    try {
        co_await takeReceipts(fresh);
    } catch (const std::exception& failure) {
        needs.notices.say(failure.what());
    }
    const auto pair = needs.workspace.relay().activePair();
    if (!pair || !workspace.relayLoadGeneration.isCurrent(generation)) co_return;
    const auto shown = fresh.find(ConversationReader::key(pair->endpoint(workspace.source)));
    if (shown != fresh.end() && shown->second != workspace.conversation.get())
        needs.workspace.showReading(shown->second);
}

Task<void> Receipts::takeReceipts(Readings fresh) {
    const auto edit = needs.workspace.state().commandEditGeneration.current();
    const auto reconcile = [&](RelayState& state) { return reconcilePending(state, fresh); };
    const auto shown = co_await needs.ledger.change(reconcile);
    // What was typed while the receipt was being saved stays.
    if (shown && needs.workspace.state().commandEditGeneration.isCurrent(edit))
        needs.workspace.showDraft(*shown);
}

// Gives what becomes of the note and the range that are shown, once the records are saved.
std::optional<RelayDraft> Receipts::reconcilePending(RelayState& state, const Readings& fresh) {
    const auto& workspace = needs.workspace.state();
    std::optional<RelayDraft> shown;
    const auto searchedBefore = std::exchange(searchedInVain, {});
    for (const auto& transfer : state.pendingTransfers()) {
        const auto pair = state.pairs.find(transfer.pairID);
        if (!pair) continue;
        const auto found = fresh.find(ConversationReader::key(pair->endpoint(other(transfer.source))));
        if (found == fresh.end()) continue;
        const auto& conversation = found->second;
        const auto searched = searchedBefore.find(transfer.id);
        if (searched != searchedBefore.end() && searched->second == conversation) {
            searchedInVain.insert(*searched);
            continue;
        }
        const auto draft = state.draft(pair->id, transfer.source);
        const bool keepsNote = draft.isForNextTransfer() || needs.outbox.mayRetry(transfer);
        if (!state.reconcile(transfer.id, *conversation)) {
            searchedInVain.emplace(transfer.id, conversation);
            continue;
        }

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
