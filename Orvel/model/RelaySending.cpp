// Sending: a message is saved before the destination is touched, and never delivered twice on its own once
// anything may have been inserted.

#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/runtime/Random.h"
#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelaySendError.h"

namespace orvel {

namespace {

constexpr auto rangeChanged = "The conversation changed. Review the latest message range.";

} // namespace

void OrvelModel::sendRelay() {
    if (!canSendRelay()) return;
    const auto pair = activePair();
    if (!pair) return;
    relays.isPreparing = true;
    tasks.start(send(*pair, plain.source));
}

Task<void> OrvelModel::send(RelayPair pair, Agent source) {
    std::optional<RelayTransfer> transfer;
    std::optional<std::string> failure;
    try {
        if (const auto pending = pendingTransfer())
            transfer = co_await prepareRetry(pair, *pending);
        else
            transfer = co_await prepareNew(pair, source);
        // From here on the record says that a delivery may be under way.
        if (transfer) changeRelay([&](RelayState& state) { state.setRetryable(transfer->id, false); });
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (failure || !transfer) {
        relays.isPreparing = false;
        if (failure)
            plain.error = failure;
        else
            checkRelayReceipts();
        co_return;
    }
    beginDelivery(transfer->id);
    co_await deliver(std::move(pair), std::move(*transfer));
}

void OrvelModel::beginDelivery(const std::string& transferID) {
    auto retryable = relays.retryableTransferIDs.get();
    retryable.erase(transferID);
    relays.retryableTransferIDs = std::move(retryable);
    relays.isSending = true;
    relays.isPreparing = false;
    plain.error = std::nullopt;
    forgetFailure(transferID);
}

void OrvelModel::noteFailure(const std::string& transferID, const std::string& text) {
    plain.error = text;
    auto failures = relays.transferFailures.get();
    failures[transferID] = text;
    relays.transferFailures = std::move(failures);
}

void OrvelModel::forgetFailure(const std::string& transferID) {
    auto failures = relays.transferFailures.get();
    if (failures.erase(transferID)) relays.transferFailures = std::move(failures);
}

// What was read took its time; the user may have gone elsewhere meanwhile.
void OrvelModel::requireSelection(const RelayPair& pair, Agent source, Generation::Value generation) const {
    if (relays.selectedPairID.get() != pair.id || plain.source != source ||
        !relays.relayLoadGeneration.isCurrent(generation))
        throw RelaySendError(rangeChanged);
}

Task<SharedConversation> OrvelModel::checkedSource(ConversationReference reference) {
    const auto generation = relays.relayLoadGeneration.current();
    auto fresh = co_await reading.readReference(std::move(reference));
    const auto& shown = plain.conversation.get();
    if (shown && (shown == fresh || *shown == *fresh)) co_return shown;
    if (relays.relayLoadGeneration.isCurrent(generation)) plain.conversation = std::move(fresh);
    throw RelaySendError(rangeChanged);
}

Task<std::optional<RelayTransfer>> OrvelModel::prepareNew(RelayPair pair, Agent source) {
    const auto generation = relays.relayLoadGeneration.current();
    const auto from = co_await checkedSource(pair.endpoint(source));
    const auto to = co_await reading.readReference(pair.endpoint(other(source)));
    requireSelection(pair, source, generation);
    RelayTransfer transfer;
    changeRelay([&](RelayState& state) {
        const auto start = plain.selectedStartMessageID.get();
        transfer = state.prepare({.pairID = pair.id,
                                  .source = source,
                                  .sourceConversation = *from,
                                  .destinationConversation = *to,
                                  .instruction = plain.instruction.get(),
                                  .startMessageID = start},
                                 stamp());
    });
    co_return transfer;
}

// Gives nothing if the message turns out to have arrived.
Task<std::optional<RelayTransfer>> OrvelModel::prepareRetry(RelayPair pair, RelayTransfer transfer) {
    const auto generation = relays.relayLoadGeneration.current();
    const auto source = transfer.source;
    const bool hasArrived = co_await settleIfReceived(transfer.id, pair.endpoint(other(source)), false);
    if (hasArrived) {
        if (relays.selectedPairID.get() == pair.id && plain.source == source)
            showDraft(relays.relayState->draft(pair.id, source));
        co_return std::nullopt;
    }
    const auto from = co_await checkedSource(pair.endpoint(source));
    requireSelection(pair, source, generation);
    validateSavedRetry(transfer, pair, *from);
    co_return transfer;
}

void OrvelModel::validateSavedRetry(const RelayTransfer& transfer, const RelayPair& pair,
                                    const Conversation& conversation) const {
    const auto messages =
        relays.relayState->preview(pair.id, transfer.source, conversation, transfer.startMessageID);
    const auto text =
        RelayFormatter::render(transfer.source, messages, transfer.instruction,
                               transfer.assistantLabel.value_or(std::string(rawValue(transfer.source))));
    const auto through = messages.empty() ? std::nullopt : std::optional(messages.back().id);
    if (text != *transfer.payload || through != transfer.sourceThrough)
        throw RelaySendError("Couldn't verify the original range of the saved message. Nothing will be "
                             "resent. Review the saved message.");
}

Task<void> OrvelModel::deliver(RelayPair pair, RelayTransfer transfer) {
    const auto& destination = pair.endpoint(other(transfer.source));
    std::optional<std::string> failure;
    bool canRetry = false;
    try {
        if (destination.agent == Agent::codex) {
            const CodexRelaySender::LifecycleFailure show = [this](const std::string& text) {
                plain.error = text;
            };
            co_await codexSender.send(*transfer.payload, destination, transfer.destinationBefore, show);
        } else {
            co_await deliverToClaude(destination, transfer);
        }
        adoptDelivered(pair, transfer);
    } catch (const RelaySendError& error) {
        failure = error.what();
        canRetry = error.canRetry();
    } catch (const std::exception& error) {
        failure = error.what();
    }
    if (failure) recordFailure(transfer.id, *failure, canRetry);
    relays.isSending = false;
    if (!failure) openPair(pair, destination.agent);
    checkRelayReceipts();
}

Task<void> OrvelModel::deliverToClaude(ConversationReference destination, RelayTransfer transfer) {
    const ClaudeRelaySender::ReceiptCheck receiptConfirmed = [this, id = transfer.id, destination,
                                                              state = relays.relayState.get()] {
        return isReceived(id, destination, state);
    };
    auto& attempts = claudeSender.attempts();
    attempts.begin(transfer.id, randomUUID(), desktop.loop.now());
    std::optional<RelaySendError> failure;
    try {
        co_await claudeSender.performSend(*transfer.payload, destination, receiptConfirmed);
    } catch (const RelaySendError& error) {
        failure = error;
    } catch (const std::exception& error) {
        failure.emplace(error.what());
    }
    const bool canRetry = failure && failure->canRetry();
    attempts.finish(!failure, canRetry, desktop.loop.now());
    if (!failure) co_return;
    std::string text = failure->what();
    if (canRetry) text += "\nNo message was inserted. You can retry the saved message.";
    text += "\n" + attempts.finished().back().line().text();
    throw RelaySendError(std::move(text), canRetry);
}

Task<bool> OrvelModel::isReceived(std::string transferID, ConversationReference destination,
                                  RelayState state) {
    const auto conversation = co_await reading.readReference(std::move(destination));
    co_return state.reconcile(transferID, *conversation);
}

void OrvelModel::adoptDelivered(const RelayPair& pair, const RelayTransfer& transfer) {
    changeRelay([&](RelayState& state) {
        state.markSubmitted(transfer.id);
        if (state.link(pair.id))
            state.clearPreparedSourceInstruction(transfer.id);
        else if (!state.draft(pair.id, transfer.source).isForNextTransfer())
            state.setDraft(pair.id, transfer.source, "", std::nullopt, false);
    });
}

void OrvelModel::recordFailure(const std::string& transferID, const std::string& text, bool canRetry) {
    noteFailure(transferID, text);
    try {
        if (canRetry) setRelayRetryable(transferID, true);
    } catch (const std::exception& failure) {
        plain.error = failure.what();
    }
    plain.status = "The message is kept. Recover with Retry or Copy saved message.";
}

void OrvelModel::setRelayRetryable(const std::string& transferID, bool retryable) {
    changeRelay([&](RelayState& state) { state.setRetryable(transferID, retryable); });
    auto ids = relays.retryableTransferIDs.get();
    if (retryable)
        ids.insert(transferID);
    else
        ids.erase(transferID);
    relays.retryableTransferIDs = std::move(ids);
}

void OrvelModel::submitExistingClaudeDraft() {
    if (!hasClaudePendingDraft() || isBusyWithMessage() || plain.isLoading) return;
    relays.isPreparing = true;
    tasks.start(submitDraft(*activePair(), *pendingTransfer()));
}

Task<void> OrvelModel::submitDraft(RelayPair pair, RelayTransfer transfer) {
    const auto destination = pair.claude;
    const auto kept = shownSelection();
    const ClaudeRelaySender::ReceiptCheck receiptConfirmed = [this, kept, id = transfer.id, destination] {
        return isReceivedAsShown(kept, id, destination);
    };
    std::optional<std::string> failure;
    bool wasThere = false;
    try {
        wasThere = co_await settleIfReceived(transfer.id, destination, false);
        if (!wasThere) {
            setRelayRetryable(transfer.id, false);
            relays.isSending = true;
            relays.isPreparing = false;
            plain.error = std::nullopt;
            co_await claudeSender.submitExistingDraft(*transfer.payload, destination, receiptConfirmed);
            if (!co_await settleIfReceived(transfer.id, destination, true))
                throw RelaySendError("Couldn't confirm the message in the final receipt check. The saved "
                                     "message is kept; no automatic resend.");
        }
    } catch (const std::exception& error) {
        failure = error.what();
    }
    const bool wasSending = relays.isSending;
    relays.isPreparing = false;
    relays.isSending = false;
    if (wasThere) {
        plain.status = "Already delivered. Nothing was sent.";
    } else if (!failure) {
        forgetFailure(transfer.id);
        plain.status = "Confirmed that Claude received the saved message.";
    } else if (wasSending) {
        noteFailure(transfer.id, *failure);
        plain.status = "Delivery could not be confirmed. The saved message is kept; no automatic resend.";
    } else {
        plain.error = failure;
    }
    checkRelayReceipts();
}

OrvelModel::ShownSelection OrvelModel::shownSelection() const {
    return {relays.selectedPairID.get(),
            relays.relayLoadGeneration.current(),
            relays.commandEditGeneration.current(),
            plain.source,
            plain.instruction,
            plain.selectedStartMessageID};
}

Task<bool> OrvelModel::isReceivedAsShown(const ShownSelection& kept, std::string transferID,
                                         ConversationReference destination) {
    if (shownSelection() != kept)
        throw RelaySendError("The selection or instructions changed. Stopped verifying the existing draft.");
    return isReceived(std::move(transferID), std::move(destination), relays.relayState);
}

// Looks for the message in a fresh reading; if it is there, saves that.
Task<bool> OrvelModel::settleIfReceived(std::string transferID, ConversationReference destination,
                                        bool wasSubmitted) {
    const auto conversation = co_await reading.readReference(std::move(destination));
    auto state = relays.relayState.get();
    if (!state.reconcile(transferID, *conversation)) co_return false;
    if (wasSubmitted) state.markSubmitted(transferID);
    saveRelay(std::move(state));
    co_return true;
}

void OrvelModel::diagnoseRelayComposer(Completion completion) {
    if (const auto pair = activePair()) tasks.start(diagnose(pair->claude, std::move(completion)));
}

Task<void> OrvelModel::diagnose(ConversationReference reference, Completion completion) {
    std::string text;
    try {
        text = "Claude Code structural diagnostics (no content)\n";
        text += co_await claudeSender.diagnose(std::move(reference));
    } catch (const std::exception& failure) {
        text = failure.what();
    }
    desktop.applications.activateSelf();
    completion(text);
}

} // namespace orvel
