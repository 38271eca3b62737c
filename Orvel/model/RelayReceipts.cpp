// The proof of delivery: a message counts as received only when it stands in the destination's own
// transcript, which is looked at again and again until it does.

#include "Orvel/model/OrvelModel.h"
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

void OrvelModel::startReceiptPolling() {
    if (!relays.receiptPollingTimer) pollReceipts();
}

void OrvelModel::pollReceipts() {
    relays.receiptPollingTimer = desktop.loop.after(pollingInterval, [this] {
        pollReceipts();
        checkRelayReceipts();
    });
}

void OrvelModel::checkRelayReceipts() {
    refreshUnpairedBusySource();
    if (relays.isCheckingReceipts || isBusyWithMessage() || relays.relayState->pairs.empty()) return;
    relays.isCheckingReceipts = true;
    tasks.start(receiptPass());
}

Task<void> OrvelModel::receiptPass() {
    const auto generation = relays.relayLoadGeneration.current();
    std::vector<ConversationReference> references;
    for (const auto& pair : relays.relayState->pairs) {
        references.push_back(pair.codex);
        references.push_back(pair.claude);
    }
    const auto readings = co_await reading.readChanged(std::move(references));
    mergeReadings(readings);
    try {
        takeReceipts(readings);
    } catch (const std::exception& failure) {
        plain.status = failure.what();
    }
    const auto pair = activePair();
    if (pair && relays.relayLoadGeneration.isCurrent(generation)) {
        const auto fresh = readings.find(ConversationReading::key(pair->endpoint(plain.source)));
        if (fresh != readings.end() && fresh->second != plain.conversation.get())
            plain.conversation = fresh->second;
    }
    relays.isCheckingReceipts = false;
}

// Screens hear of it only if something is new.
void OrvelModel::mergeReadings(const ConversationReading::Readings& readings) {
    auto merged = relays.pairReadings.get();
    for (const auto& [key, conversation] : readings) merged[key] = conversation;
    if (merged != relays.pairReadings.get()) relays.pairReadings = std::move(merged);
}

void OrvelModel::takeReceipts(const ConversationReading::Readings& readings) {
    const auto before = relays.relayState.get();
    auto state = before;
    // What becomes of the note and the range that are shown, once the records are saved.
    std::optional<RelayDraft> shown;
    const auto searchedBefore = std::exchange(searchedForReceipt, {});
    for (const auto& transfer : before.pendingTransfers()) {
        const auto pair = state.pairs.find(transfer.pairID);
        if (!pair) continue;
        const auto found = readings.find(ConversationReading::key(pair->endpoint(other(transfer.source))));
        if (found == readings.end()) continue;
        const auto& conversation = found->second;
        const auto searched = searchedBefore.find(transfer.id);
        if (searched != searchedBefore.end() && searched->second == conversation) {
            searchedForReceipt.insert(*searched);
            continue;
        }
        const auto draft = state.draft(pair->id, transfer.source);
        const bool keepsNote = draft.isForNextTransfer() || mayRetry(transfer);
        if (!state.reconcile(transfer.id, *conversation)) {
            searchedForReceipt.emplace(transfer.id, conversation);
            continue;
        }

        const bool isLinked = state.link(pair->id) != nullptr;
        if (!isLinked && !keepsNote && isUsedUp(transfer, draft.instruction, draft.startMessageID))
            state.setDraft(pair->id, transfer.source, "", std::nullopt, false);
        if (relays.selectedPairID.get() != pair->id) continue;
        if (isLinked)
            shown = state.draft(pair->id, plain.source);
        else if (plain.source == transfer.source && keepsNote)
            shown = state.draft(pair->id, transfer.source);
        else if (plain.source == transfer.source &&
                 isUsedUp(transfer, plain.instruction, plain.selectedStartMessageID))
            shown = RelayDraft();
    }
    if (state == before) return;
    saveRelay(std::move(state));
    if (shown) showDraft(*shown);
}

void OrvelModel::refreshUnpairedBusySource() {
    if (activePair() || relays.isRefreshingBusySource || plain.isLoading || isBusyWithMessage()) return;
    const auto& conversation = plain.conversation.get();
    if (!conversation || !conversation->isBusy || !relays.sourceReference) return;
    relays.isRefreshingBusySource = true;
    tasks.start(refreshBusySource(*relays.sourceReference));
}

Task<void> OrvelModel::refreshBusySource(ConversationReference reference) {
    const auto generation = relays.relayLoadGeneration.current();
    const auto key = ConversationReading::key(reference);
    SharedConversation fresh;
    std::string failure;
    try {
        fresh = co_await reading.readIfChanged(reference);
    } catch (const std::exception& error) {
        failure = error.what();
    }
    relays.isRefreshingBusySource = false;
    if (!relays.relayLoadGeneration.isCurrent(generation)) co_return;
    if (!fresh) {
        plain.error = failure;
        co_return;
    }
    const auto& open = relays.sourceReference;
    if (!open || ConversationReading::key(*open) != key || activePair() || isBusyWithMessage()) co_return;
    showReading(fresh, reference);
}

} // namespace orvel
