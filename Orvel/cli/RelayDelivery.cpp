#include "Orvel/cli/RelayDelivery.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Interruption.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelayRecords.h"
#include "Orvel/cli/TerminalText.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/text/Unicode.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

// What a user is told of a saved message that has not been seen.
std::string situationOf(const RelayTransfer& transfer, const std::string& link) {
    switch (pendingState(transfer)) {
    case PendingState::mayBeRetried:
        return fmt::format(
            "The message is saved, and nothing was inserted. “orvel-cli retry {}” may be used.", link);
    case PendingState::unconfirmed:
        return fmt::format("The message is saved. Whether it was inserted is not known, so it is not sent "
                           "again. “orvel-cli copy-saved {}” prints it.",
                           link);
    case PendingState::waitingForPaste:
        return fmt::format("The message is saved and was not sent. “orvel-cli copy-saved {}” prints it.",
                           link);
    case PendingState::checking: break;
    }
    return "The message was delivered, but not yet seen in the transcript. “orvel-cli receipts” looks again.";
}

} // namespace

RelayDelivery::RelayDelivery(const Arguments& arguments, const Places& places, Output& output,
                             const Stylist& stylist)
    : arguments(arguments), output(output), stylist(stylist), runner(places) {}

void RelayDelivery::send() {
    telling([this] {
        runner.restore();
        const auto pair = pairNamed(arguments.subject, runner.relay().relayState);
        runner.open(pair, *arguments.agent);
        prepareNew(pair);
        const auto count = runner.relay().relayState->transfers.size();
        runner.model().sendRelay();
        runner.runUntil([this] { return !runner.relay().isPreparing; }, RelaySessionRunner::patience);
        const auto& transfers = runner.relay().relayState->transfers;
        if (transfers.size() > count) {
            transferID = transfers.back().id;
            tell("Saved", fmt::format("{} bytes from {} to {}, as {}", transfers.back().payload->size(),
                                      label(transfers.back().source), label(other(transfers.back().source)),
                                      *transferID));
        }
        deliver();
    });
}

void RelayDelivery::retry() {
    telling([this] {
        runner.restore();
        const auto pair = pairNamed(arguments.subject, runner.relay().relayState);
        const auto pending = pendingTransferOf(pair.id, runner.relay().relayState);
        if (!pending) throw nothingPending();
        transferID = pending->id;
        runner.open(pair, pending->source);
        if (isReceived()) return report();
        if (!runner.model().mayRetry(*transfer()))
            throw CommandFailure("retryRefused", "This message can't be sent again.");
        if (runner.session().conversation.get()->isBusy) throw RelayError(RelayError::Case::busy);
        tell("Again", fmt::format("{} bytes from {} to {}, saved as {}", pending->payload->size(),
                                  label(pending->source), label(other(pending->source)), *transferID));
        runner.model().sendRelay();
        deliver();
    });
}

// Does the work; if it fails or is broken off, the user also hears what became of the message.
template <typename Work>
void RelayDelivery::telling(Work work) {
    try {
        work();
    } catch (const Failure& failure) {
        throw CommandFailure(failure.caseName(), std::string(failure.what()) + "\n" + situation());
    } catch (const Interrupted& interruption) {
        output.writeError(std::string(interruption.what()) + "\n" + visibleText(situation()) + "\n");
        throw;
    }
}

// Checks what the model would only refuse, then sets note and range. What is not given stays as the window
// left it.
void RelayDelivery::prepareNew(const RelayPair& pair) {
    const auto& session = runner.session();
    const auto& state = runner.relay().relayState.get();
    if (const auto pending = pendingTransferOf(pair.id, state))
        throw CommandFailure("pendingTransfer", "An earlier message of this link has not been seen yet.\n" +
                                                    situationOf(*pending, arguments.subject));
    const auto& conversation = *session.conversation.get();
    if (arguments.from && !positionOf(conversation.messages, *arguments.from))
        throw messageNotFound(*arguments.from);
    if (arguments.note && !isValidUTF8(*arguments.note))
        throw CommandFailure("invalidNote", "The note is no valid UTF-8 text.");
    const auto start = arguments.from ? arguments.from : session.selectedStartMessageID.get();
    const auto note = arguments.note.value_or(session.instruction.get());
    if (state.preview(pair.id, *arguments.agent, conversation, start).empty() && trimmed(note).empty())
        throw RelayError(RelayError::Case::emptyTransfer);

    if (arguments.note) runner.model().setInstruction(*arguments.note);
    if (arguments.from) runner.model().selectRange(arguments.from);
    if (const auto& error = session.error.get()) throw CommandFailure("notSaved", *error);
}

void RelayDelivery::deliver() {
    runner.settle();
    const auto& error = runner.session().error.get();
    if (!transferID) throw CommandFailure("notSaved", error.value_or("The message could not be saved."));
    const auto& failures = runner.relay().transferFailures.get();
    const auto failure = failures.find(*transferID);
    const bool isDelivered = transfer()->deliveryMode == RelayDeliveryMode::submitted;
    // The transcript knows better than whoever failed.
    if (!isReceived() && !isDelivered)
        throw CommandFailure(
            pendingState(*transfer()) == PendingState::mayBeRetried ? "notDelivered" : "deliveryUnconfirmed",
            failure != failures.end() ? failure->second : error.value_or("It was not sent."));
    if (isDelivered)
        tell("Delivered", fmt::format("{} has taken the message.", label(other(transfer()->source))));
    if (arguments.wait && !isReceived()) awaitReceipt();
    report();
}

void RelayDelivery::awaitReceipt() {
    runner.model().startReceiptPolling();
    if (runner.runUntil([this] { return isReceived(); }, *arguments.wait)) return;
    std::string text = fmt::format("The message was not seen within {} seconds.", arguments.wait->count());
    if (const auto& error = runner.session().error.get()) text += "\n" + *error;
    throw CommandFailure("notSeen", std::move(text));
}

void RelayDelivery::report() const {
    if (isReceived()) tell("Seen", "The message stands in the destination's transcript.");
    if (const auto& error = runner.session().error.get()) output.writeError(visibleText(*error) + "\n");
    if (!arguments.json) return;
    output.write(jsonLine({{"id", *transferID},
                           {"link", transfer()->pairID},
                           {"source", rawValue(transfer()->source)},
                           {"state", isReceived() ? "received" : "delivered"}}));
}

std::shared_ptr<const RelayTransfer> RelayDelivery::transfer() const {
    return transferID ? runner.relay().relayState->transfers.find(*transferID) : nullptr;
}

bool RelayDelivery::isReceived() const {
    const auto current = transfer();
    return current && !current->isPending();
}

std::string RelayDelivery::situation() const {
    const auto current = transfer();
    if (!current) return "Nothing was saved or sent.";
    return isReceived() ? "The message was received." : situationOf(*current, arguments.subject);
}

void RelayDelivery::tell(std::string_view step, std::string_view text) const {
    if (!arguments.json)
        output.write(stylist(TextStyle::strong, fmt::format("{:<11}", step)) + std::string(text) + "\n");
}

} // namespace orvel
