#include "Orvel/model/Outbox.h"

#include "Orvel/delivery/ClaudeRelayDiagnosticHistory.h"
#include "Orvel/delivery/ClaudeRelaySender.h"
#include "Orvel/desktop/Applications.h"
#include "Orvel/desktop/Pasteboard.h"
#include "Orvel/model/Notices.h"
#include "Orvel/model/RelayLedger.h"
#include "Orvel/model/Workspace.h"
#include "Orvel/runtime/Random.h"
#include "OrvelCore/relay/RelayRetry.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <fmt/format.h>

namespace orvel {

Outbox::Outbox(const ChangeSignal& changes, const OutboxNeeds& needs, const AgentFolders& folders)
    : needs(needs),
      held(changes, needs.operation, needs.processes.longestArgument()),
      codexSender(needs.loop, needs.processes, needs.reader, folders.home),
      claudeCodeSender(needs.loop, needs.processes, needs.reader, folders),
      tasks([this](const auto& failure) { this->needs.notices.fail(failure); }) {}

const OpenRelay& Outbox::relay() const {
    return needs.workspace.relay();
}

bool Outbox::canSendRelay() const {
    return held.canSendRelay(needs.workspace.state(), relay());
}

// Forming and saving

void Outbox::sendRelay() {
    if (!canSendRelay()) return;
    const auto pair = relay().activePair();
    if (!pair) return;
    auto operation = needs.operation.begin(MessageOperation::Kind::preparing);
    tasks.start(send(std::move(operation), *pair, needs.workspace.state().source));
}

Task<void> Outbox::send(Guard operation, RelayPair pair, Agent source) {
    std::optional<SavedTransfer> transfer;
    std::optional<std::string> problem;
    try {
        if (const auto pending = relay().pendingTransfer())
            transfer = co_await prepareRetry(pair, *pending);
        else
            transfer = co_await prepareNew(pair, source, true);
    } catch (const std::exception& error) {
        problem = error.what();
    }
    if (problem) {
        needs.notices.fail(*problem);
        co_return;
    }
    bool isDelivered = false;
    if (transfer) {
        operation.beginSending();
        needs.notices.dismissError();
        forgetFailure((*transfer)->id);
        auto failure = co_await deliver(pair, *transfer);
        isDelivered = !failure;
        if (failure) co_await recordFailure((*transfer)->id, std::move(*failure));
    }
    operation.end();
    if (isDelivered) {
        onDelivered(pair, other(source));
        needs.workspace.openPair(pair, other(source));
    }
    onDone();
}

// What was read took its time; the person may have gone elsewhere meanwhile.
void Outbox::requireSelection(const RelayPair& pair, Agent source, Generation::Value generation) const {
    const auto& workspace = needs.workspace.state();
    if (workspace.selectedPairID.get() != pair.id || workspace.source != source ||
        !workspace.relayLoadGeneration.isCurrent(generation))
        throw RelaySendError(Workspace::rangeChanged);
}

// One that is to be delivered is saved as one that must not be repeated: from then on the record says that a
// delivery may be under way.
Task<SavedTransfer> Outbox::prepareNew(RelayPair pair, Agent source, bool isToBeDelivered) {
    const auto& workspace = needs.workspace.state();
    const auto generation = workspace.relayLoadGeneration.current();
    const auto from = co_await needs.workspace.checkedSource(pair.endpoint(source));
    const auto to = co_await needs.reader.readReference(pair.endpoint(other(source)));
    const auto prepare = [&](RelayState& state) {
        requireSelection(pair, source, generation);
        const auto start = workspace.selectedStartMessageID.get();
        const auto transfer = state.prepare({.pairID = pair.id,
                                             .source = source,
                                             .sourceConversation = *from,
                                             .destinationConversation = *to,
                                             .instruction = workspace.instruction.get(),
                                             .startMessageID = start},
                                            needs.ledger.stamp());
        if (isToBeDelivered) {
            requireAcceptable(pair.endpoint(other(source)), *transfer.payload);
            state.setRetryable(transfer.id, false);
        }
        return transfer.id;
    };
    co_return needs.ledger.saved(co_await needs.ledger.change(prepare));
}

// Gives nothing if the message turns out to have arrived.
Task<std::optional<SavedTransfer>> Outbox::prepareRetry(RelayPair pair, RelayTransfer transfer) {
    const auto& workspace = needs.workspace.state();
    const auto generation = workspace.relayLoadGeneration.current();
    const auto source = transfer.source;
    const bool hasArrived = co_await settleIfReceived(transfer.id, pair.endpoint(other(source)), false);
    if (hasArrived) {
        takeReceipt(transfer.id);
        if (workspace.selectedPairID.get() == pair.id && workspace.source == source)
            needs.workspace.showDraft(needs.ledger.state().draft(pair.id, source));
        co_return std::nullopt;
    }
    const auto from = co_await needs.workspace.checkedSource(pair.endpoint(source));
    requireSelection(pair, source, generation);
    if (!isPreparedAgain(transfer, needs.ledger.state().relayState, *from))
        throw RelaySendError("Couldn't verify the original range of the saved message. Nothing will be "
                             "resent. Review the saved message.");
    requireAcceptable(pair.endpoint(other(source)), *transfer.payload);
    co_await setRelayRetryable(transfer.id, false);
    co_return needs.ledger.saved(transfer.id);
}

// What could not be handed over is not saved either: it would only block its link.
void Outbox::requireAcceptable(const ConversationReference& destination, const std::string& text) const {
    if (const auto refusal = held.refusal(destination, text)) throw RelaySendError(*refusal, true);
}

// Delivering

Task<std::optional<DeliveryFailure>> Outbox::deliver(RelayPair pair, SavedTransfer transfer) {
    const auto& destination = pair.endpoint(other(transfer->source));
    const std::function<void(const std::string&)> show = [this](const std::string& text) {
        needs.notices.fail(text);
    };
    const ClaudeCodeRelaySender::ReceiptCheck isReceived =
        [id = transfer->id, state = needs.ledger.state().relayState.get()](const Conversation& conversation) {
            return RelayState(state).reconcile(id, conversation);
        };
    try {
        if (held.goesThroughClaudeCode(destination)) {
            co_await claudeCodeSender.send(transfer, destination, isReceived, show);
        } else if (destination.agent == Agent::claude) {
            auto failure = co_await deliverToClaude(destination, transfer);
            if (failure) co_return failure;
        } else {
            co_await codexSender.send(transfer, destination, show);
        }
    } catch (const RelaySendError& error) {
        co_return DeliveryFailure{error.what(), error.canRetry()};
    } catch (const std::exception& error) {
        co_return DeliveryFailure{error.what()};
    }
    co_return co_await adoptDelivered(pair, transfer);
}

Task<std::optional<DeliveryFailure>> Outbox::deliverToClaude(ConversationReference destination,
                                                             SavedTransfer transfer) {
    const ClaudeRelaySender::ReceiptCheck receiptConfirmed = [this, id = transfer->id, destination,
                                                              state = needs.ledger.state().relayState.get()] {
        return isReceived(id, destination, state);
    };
    auto& attempts = needs.claudeSender.attempts();
    attempts.begin(transfer->id, randomUUID(), needs.loop.now());
    std::optional<DeliveryFailure> failure;
    try {
        co_await needs.claudeSender.performSend(transfer, destination, receiptConfirmed);
    } catch (const RelaySendError& error) {
        failure = {error.what(), error.canRetry()};
    } catch (const std::exception& error) {
        failure = {error.what()};
    }
    attempts.finish(!failure, failure && failure->canRetry, needs.loop.now());
    if (failure) {
        if (failure->canRetry) {
            failure->text += "\nNo message was inserted. You can retry the saved message.";
            if (!destination.desktopSessionID)
                failure->text +=
                    "\nClaude's application does not know this conversation. Claude Code can take "
                    "the message, if you allow that in the settings.";
        }
        failure->attempt = attempts.finished().back().line().text();
    }
    co_return failure;
}

Task<bool> Outbox::isReceived(std::string transferID, ConversationReference destination, RelayState state) {
    const auto conversation = co_await needs.reader.readReference(std::move(destination));
    co_return state.reconcile(transferID, *conversation);
}

Task<std::optional<DeliveryFailure>> Outbox::adoptDelivered(RelayPair pair, SavedTransfer transfer) {
    const auto adopt = [&](RelayState& state) {
        state.markSubmitted(transfer->id);
        if (state.link(pair.id))
            state.clearPreparedSourceInstruction(transfer->id);
        else if (!state.draft(pair.id, transfer->source).isForNextTransfer())
            state.setDraft(pair.id, transfer->source, "", std::nullopt, false);
    };
    try {
        co_await needs.ledger.change(adopt);
    } catch (const std::exception& error) {
        co_return DeliveryFailure{.text =
                                      fmt::format("The message was handed over to {}, but that could not be "
                                                  "saved. Do not send it again.\n{}",
                                                  label(other(transfer->source)), error.what()),
                                  .wasHandedOver = true};
    }
    co_return std::nullopt;
}

Task<void> Outbox::recordFailure(std::string transferID, DeliveryFailure failure) {
    const bool canRetry = failure.canRetry;
    noteFailure(transferID, std::move(failure));
    try {
        if (canRetry) co_await setRelayRetryable(transferID, true);
    } catch (const std::exception& error) {
        needs.notices.fail(error.what());
    }
    needs.notices.say("The message is kept. Recover with Retry or Copy saved message.");
}

Task<void> Outbox::setRelayRetryable(std::string transferID, bool retryable) {
    const auto set = [&](RelayState& state) { state.setRetryable(transferID, retryable); };
    co_await needs.ledger.change(set);
    offerRetry(transferID, retryable);
}

void Outbox::offerRetry(const std::string& transferID, bool isOffered) {
    auto ids = held.retryableTransferIDs.get();
    if (isOffered)
        ids.insert(transferID);
    else
        ids.erase(transferID);
    if (ids != held.retryableTransferIDs.get()) held.retryableTransferIDs = std::move(ids);
}

void Outbox::noteFailure(const std::string& transferID, DeliveryFailure failure) {
    needs.notices.fail(failure.description());
    auto failures = held.transferFailures.get();
    failures[transferID] = std::move(failure);
    held.transferFailures = std::move(failures);
}

void Outbox::forgetFailure(const std::string& transferID) {
    auto failures = held.transferFailures.get();
    if (failures.erase(transferID)) held.transferFailures = std::move(failures);
}

void Outbox::takeReceipts(const ReceiptLook& look) {
    for (const auto& id : look.received) takeReceipt(id);
    if (look.problems != held.receiptProblems.get()) held.receiptProblems = look.problems;
}

// What failed is no longer so: the transcript knows better than whoever delivered.
void Outbox::takeReceipt(const std::string& transferID) {
    const auto* failure = held.failureOf(transferID);
    if (!failure) return;
    if (needs.notices.error() == failure->description()) needs.notices.dismissError();
    forgetFailure(transferID);
    needs.notices.say("The message has arrived: it stands in the destination's transcript.");
}

// Looks for the message in a fresh reading; if it is there, saves that.
Task<bool> Outbox::settleIfReceived(std::string transferID, ConversationReference destination,
                                    bool wasSubmitted) {
    const auto conversation = co_await needs.reader.readReference(std::move(destination));
    const auto settle = [&](RelayState& state) {
        const bool isThere = state.reconcile(transferID, *conversation);
        if (isThere && wasSubmitted) state.markSubmitted(transferID);
        return isThere;
    };
    co_return co_await needs.ledger.change(settle);
}

std::map<std::string, MainLoop::Duration> Outbox::watchedTurns() const {
    auto turns = codexSender.watchedTurns();
    turns.insert(claudeCodeSender.watchedTurns().begin(), claudeCodeSender.watchedTurns().end());
    return turns;
}

std::optional<std::string> Outbox::deliveryStage() const {
    using Stage = ClaudeRelayDiagnosticHistory::Stage;
    const auto pair = relay().activePair();
    if (held.operation.isSending() && pair && needs.workspace.state().source == Agent::codex &&
        held.goesThroughClaudeCode(pair->claude))
        return "Handing it to Claude Code…";
    const auto* attempt = held.operation.isSending() ? needs.claudeSender.attempts().current() : nullptr;
    if (!attempt) return std::nullopt;
    switch (attempt->stage) {
    case Stage::launch: return "Opening Claude…";
    case Stage::sourceRoute:
    case Stage::sourceSnapshot: return "Looking at what Claude shows…";
    case Stage::navigationOpen:
    case Stage::navigationWait: return "Showing the conversation in Claude…";
    case Stage::targetSnapshot:
    case Stage::targetRecheck: return "Checking that the editor is empty…";
    case Stage::insertion: return "Writing into the editor…";
    case Stage::submission: return "Sending, and looking for it in the transcript…";
    }
    return std::nullopt;
}

// Copying

void Outbox::copy(Pasteboard& pasteboard) {
    if (!relay().activePair()) return copyPlain(pasteboard);
    if (needs.workspace.state().chainDestinationUnselected || relay().otherChainTransferPending()) return;
    if (isOccupied(needs.operation, needs.workspace.state())) return;
    tasks.start(copyRelay(needs.operation.begin(MessageOperation::Kind::preparing), pasteboard));
}

void Outbox::copyPlain(Pasteboard& pasteboard) {
    auto text = relay().preview();
    const bool isLoading = needs.workspace.state().isLoading;
    if (text.empty() || isLoading)
        return needs.notices.fail(isLoading ? "Wait for the conversation to finish loading before copying."
                                            : "Enter a conversation or instructions to copy.");
    pasteboard.clearContents();
    if (!pasteboard.setString(text)) return needs.notices.fail("Couldn't copy to the clipboard. Try again.");
    needs.notices.dismissError();
    needs.workspace.recordCopy(std::move(text));
    needs.notices.say(
        fmt::format("Copied. Destination: {}. Paste into the intended conversation and send. Copying alone "
                    "does not confirm delivery.",
                    label(needs.workspace.state().destination)));
}

Task<void> Outbox::copyRelay([[maybe_unused]] Guard operation, Pasteboard& pasteboard) {
    const auto& workspace = needs.workspace.state();
    bool isOnClipboard = false;
    try {
        const auto pair = *relay().activePair();
        const auto transfer = co_await prepareNew(pair, workspace.source, false);
        pasteboard.clearContents();
        if (!pasteboard.setString(*transfer->payload))
            throw RelaySendError("Couldn't copy. The message has been saved.");
        isOnClipboard = true;
        const auto adopt = [&](RelayState& state) {
            if (state.link(pair.id))
                state.clearPreparedSourceInstruction(transfer->id);
            else
                state.setDraft(pair.id, transfer->source, "", workspace.selectedStartMessageID, false);
        };
        co_await needs.ledger.change(adopt);
        needs.workspace.clearInstruction();
        needs.notices.say(
            "Waiting for paste — The position will not advance until delivery is confirmed in the "
            "destination transcript.");
    } catch (const std::exception& error) {
        needs.notices.fail(isOnClipboard
                               ? std::string("The message is saved and copied, but its draft could not "
                                             "be cleared.\n") +
                                     error.what()
                               : error.what());
    }
}

void Outbox::copyPendingTransfer(Pasteboard& pasteboard) {
    const auto saved = relay().previousCopy();
    if (!saved) return;
    pasteboard.clearContents();
    if (pasteboard.setString(*saved))
        needs.notices.say("Saved message copied.");
    else
        needs.notices.fail("Couldn't copy. The message has been saved.");
}

// What an earlier attempt left in Claude's editor

void Outbox::submitExistingClaudeDraft() {
    if (!relay().hasClaudePendingDraft() || isOccupied(needs.operation, needs.workspace.state())) return;
    auto operation = needs.operation.begin(MessageOperation::Kind::preparing);
    tasks.start(submitDraft(std::move(operation), *relay().activePair(), *relay().pendingTransfer()));
}

Task<void> Outbox::submitDraft(Guard operation, RelayPair pair, RelayTransfer transfer) {
    const auto destination = pair.claude;
    const auto kept = shownSelection();
    const ClaudeRelaySender::ReceiptCheck receiptConfirmed = [this, kept, id = transfer.id, destination] {
        return isReceivedAsShown(kept, id, destination);
    };
    std::optional<std::string> problem;
    bool wasThere = false;
    try {
        wasThere = co_await settleIfReceived(transfer.id, destination, false);
        if (!wasThere) {
            co_await setRelayRetryable(transfer.id, false);
            operation.beginSending();
            needs.notices.dismissError();
            co_await needs.claudeSender.submitExistingDraft(needs.ledger.saved(transfer.id), destination,
                                                            receiptConfirmed);
            if (!co_await settleIfReceived(transfer.id, destination, true))
                throw RelaySendError("Couldn't confirm the message in the final receipt check. The saved "
                                     "message is kept; no automatic resend.");
        }
    } catch (const std::exception& error) {
        problem = error.what();
    }
    operation.end();
    if (wasThere) {
        takeReceipt(transfer.id);
        needs.notices.say("Already delivered. Nothing was sent.");
    } else if (!problem) {
        forgetFailure(transfer.id);
        needs.notices.say("Confirmed that Claude received the saved message.");
    } else {
        noteFailure(transfer.id, {*problem});
        needs.notices.say("Delivery could not be confirmed. The saved message is kept; no automatic resend.");
    }
    onDone();
}

Outbox::ShownSelection Outbox::shownSelection() const {
    const auto& workspace = needs.workspace.state();
    return {workspace.selectedPairID.get(),
            workspace.relayLoadGeneration.current(),
            workspace.commandEditGeneration.current(),
            workspace.source,
            workspace.instruction,
            workspace.selectedStartMessageID};
}

Task<bool> Outbox::isReceivedAsShown(const ShownSelection& kept, std::string transferID,
                                     ConversationReference destination) {
    if (shownSelection() != kept)
        throw RelaySendError("The selection or instructions changed. Stopped verifying the existing draft.");
    return isReceived(std::move(transferID), std::move(destination), needs.ledger.state().relayState);
}

void Outbox::diagnoseRelayComposer(Completion completion) {
    const auto pair = relay().activePair();
    if (!pair || needs.operation.isUnderWay()) return;
    auto operation = needs.operation.begin(MessageOperation::Kind::inspecting);
    tasks.start(diagnose(std::move(operation), pair->claude, std::move(completion)));
}

Task<void> Outbox::diagnose(Guard operation, ConversationReference reference, Completion completion) {
    std::string text;
    try {
        text = "Claude Code structural diagnostics (no content)\n";
        text += co_await needs.claudeSender.diagnose(std::move(reference));
    } catch (const std::exception& failure) {
        text = failure.what();
    }
    needs.applications.activateSelf();
    operation.end();
    completion(text);
}

} // namespace orvel
