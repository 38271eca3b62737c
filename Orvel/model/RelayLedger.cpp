#include "Orvel/model/RelayLedger.h"

#include "Orvel/model/Notices.h"
#include "Orvel/runtime/Random.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/relay/RelayStateReport.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace orvel {

RelayLedger::RelayLedger(const ChangeSignal& changes, Notices& notices, MainLoop& loop, FileStore& files,
                         std::string path)
    : unlinkedDrafts(notices, loop, files, joinedPath(parentFolder(path), "unlinked-drafts.json")),
      held(changes),
      notices(notices),
      loop(loop),
      file(std::move(path), files),
      turns(loop),
      tasks([&notices](const auto& failure) { notices.fail(failure); }) {}

Task<void> RelayLedger::restoreRelay() {
    const auto turn = co_await turns.next();
    const auto& state = held.relayState.get();
    if (!state.pairs.empty() || !state.initialTransfers.empty() || held.relayStorageError) co_return;
    try {
        const auto read = [path = file.path()] { return loadRelayState(path); };
        auto saved = co_await loop.background(read);
        if (!saved) co_return;
        held.relayState = *saved;
        co_await file.prepare(std::move(*saved));
    } catch (const std::exception& failure) {
        held.relayStorageError =
            std::string("Couldn't load links and transfer records. The original file is kept.\n") +
            failure.what();
        notices.fail(*held.relayStorageError);
    }
}

RelayStamp RelayLedger::stamp() const {
    return {randomUUID, loop.now()};
}

SavedTransfer RelayLedger::saved(const std::string& transferID) const {
    return SavedTransfer(held.relayState->transfers.find(transferID));
}

Task<void> RelayLedger::saveRelay(RelayState state) {
    if (held.relayStorageError) throw RelaySendError(*held.relayStorageError);
    if (state == held.relayState.get()) co_return;
#ifndef NDEBUG
    if (const auto broken = violationsOf(state); !broken.empty() && violationsOf(held.relayState).empty())
        throw std::logic_error("A change breaks the rules of the relay records.\n" + broken);
#endif
    co_await file.save(state);
    held.relayState = std::move(state);
}

namespace {

// What was typed for the message after a first one belongs to the pair, once the first one has its receipt.
void store(const UnsavedDraft& unsaved, RelayState& state) {
    const auto& [pairID, source, initialID, draft, edit] = unsaved;
    if (!initialID)
        return state.setDraft(pairID, source, draft.instruction, draft.startMessageID,
                              draft.isForNextTransfer());
    const auto initial = state.initialTransfers.find(*initialID);
    if (!initial) return;
    const auto& bound = initial->boundPairID;
    if (const auto pending = bound ? state.pendingTransfer(*bound) : nullptr;
        !bound || (pending && pending->id == *initialID))
        state.setInitialNextDraft(*initialID, draft.instruction, draft.startMessageID);
    else
        state.setDraft(*bound, initial->sourceReference.agent, draft.instruction, draft.startMessageID,
                       pending != nullptr);
}

} // namespace

// Pairs are never removed, so a draft always fits. One that does not keeps no other change back.
RelayState RelayLedger::withDrafts(const std::map<std::string, UnsavedDraft>& drafts) const {
    auto state = held.relayState.get();
    std::vector<const UnsavedDraft*> inOrder; // Of two drafts of one conversation the later one stays.
    for (const auto& [key, unsaved] : drafts) inOrder.push_back(&unsaved);
    std::sort(inOrder.begin(), inOrder.end(), [](auto* one, auto* two) { return one->edit < two->edit; });
    for (const auto* unsaved : inOrder) try {
            store(*unsaved, state);
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        }
    return state;
}

// What was typed while the save went on is still to be saved.
void RelayLedger::forget(const std::map<std::string, UnsavedDraft>& drafts) {
    auto left = held.unsavedDrafts.get();
    for (const auto& [key, saved] : drafts) {
        const auto now = left.find(key);
        if (now != left.end() && now->second.edit == saved.edit) left.erase(now);
    }
    if (left.size() != held.unsavedDrafts->size()) held.unsavedDrafts = std::move(left);
}

void RelayLedger::setDraft(const std::string& pairID, Agent source, RelayDraft draft) {
    setDraft(positionKey(pairID, source),
             {.pairID = pairID, .source = source, .initialID = {}, .draft = std::move(draft)});
}

void RelayLedger::setNextDraft(const std::string& initialID, RelayDraft draft) {
    draft.nextTransfer = true;
    setDraft(initialID, {.pairID = {}, .initialID = initialID, .draft = std::move(draft)});
}

void RelayLedger::setDraft(const std::string& key, UnsavedDraft unsaved) {
    unsaved.edit = ++edits;
    auto drafts = held.unsavedDrafts.get();
    drafts[key] = std::move(unsaved);
    held.unsavedDrafts = std::move(drafts);
    if (!nextFlush) nextFlush = loop.after(draftInterval, [this] { flushDrafts(); });
}

void RelayLedger::flushDrafts() {
    nextFlush.reset();
    unlinkedDrafts.flush();
    if (!held.unsavedDrafts->empty()) tasks.start(flush());
}

Task<void> RelayLedger::flush() {
    try {
        co_await change([](RelayState&) {});
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

} // namespace orvel
