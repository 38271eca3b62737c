#include "Orvel/cli/RelayDelivery.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Interruption.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelayRecords.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/model/TransferStanding.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/text/Unicode.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

// What a user is told of a saved message that has not been seen.
std::string situationOf(const RelayTransfer& transfer, const std::string& link) {
    switch (standingOf(transfer)) {
    case TransferStanding::mayBeRetried:
        return fmt::format(
            "The message is saved, and nothing was inserted. “orvel-cli retry {}” may be used.", link);
    case TransferStanding::unconfirmed:
        return fmt::format("The message is saved. Whether it was inserted is not known, so it is not sent "
                           "again. “orvel-cli copy-saved {}” prints it.",
                           link);
    case TransferStanding::waitingForPaste:
        return fmt::format("The message is saved and was not sent. “orvel-cli copy-saved {}” prints it.",
                           link);
    case TransferStanding::delivering:
    case TransferStanding::checking:
        return "The message was delivered, but not yet seen in the transcript. “orvel-cli receipts” looks "
               "again.";
    case TransferStanding::received: return "The message was received.";
    }
    return {};
}

} // namespace

RelayDelivery::RelayDelivery(const Arguments& arguments, const Places& places, Output& output,
                             const Stylist& stylist)
    : arguments(arguments), output(output), stylist(stylist), runner(places) {}

void RelayDelivery::send() {
    telling([this] {
        runner.restore();
        const auto pair = pairNamed(arguments.subject, runner.records());
        runner.open(pair, *arguments.agent);
        prepareNew(pair);
        const auto count = runner.records().transfers.size();
        runner.model().outbox.allowClaudeCode(arguments.throughClaudeCode);
        runner.model().outbox.sendRelay();
        runner.runUntil([this] { return !runner.model().outbox.state().operation.isPreparing(); },
                        RelaySessionRunner::patience);
        const auto& transfers = runner.records().transfers;
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
        const auto pair = pairNamed(arguments.subject, runner.records());
        const auto pending = pendingTransferOf(pair.id, runner.records());
        if (!pending) throw nothingPending();
        transferID = pending->id;
        runner.open(pair, pending->source);
        if (isReceived()) return report();
        if (!runner.model().outbox.state().mayRetry(*transfer()))
            throw CommandFailure("retryRefused", "This message can't be sent again.");
        if (runner.workspace().conversation.get()->isBusy) throw RelayError(RelayError::Case::busy);
        tell("Again", fmt::format("{} bytes from {} to {}, saved as {}", pending->payload->size(),
                                  label(pending->source), label(other(pending->source)), *transferID));
        runner.model().outbox.allowClaudeCode(arguments.throughClaudeCode);
        runner.model().outbox.sendRelay();
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
    const auto& workspace = runner.workspace();
    const auto& state = runner.records();
    if (const auto pending = pendingTransferOf(pair.id, state))
        throw CommandFailure("pendingTransfer", "An earlier message of this link has not been seen yet.\n" +
                                                    situationOf(*pending, arguments.subject));
    const auto& conversation = *workspace.conversation.get();
    if (arguments.from && !positionOf(conversation.messages, *arguments.from))
        throw messageNotFound(*arguments.from);
    if (arguments.note && !isValidUTF8(*arguments.note))
        throw CommandFailure("invalidNote", "The note is no valid UTF-8 text.");
    const auto start = arguments.from ? arguments.from : workspace.selectedStartMessageID.get();
    const auto note = arguments.note.value_or(workspace.instruction.get());
    if (state.preview(pair.id, *arguments.agent, conversation, start).empty() && trimmed(note).empty())
        throw RelayError(RelayError::Case::emptyTransfer);

    if (arguments.note) runner.model().workspace.setInstruction(*arguments.note);
    if (arguments.from) runner.model().workspace.selectRange(arguments.from);
    runner.model().ledger.flushDrafts();
    runner.settle();
    if (runner.error()) throw CommandFailure("notSaved", *runner.error());
}

void RelayDelivery::deliver() {
    runner.settle();
    const auto& error = runner.error();
    if (!transferID) throw CommandFailure("notSaved", error.value_or("The message could not be saved."));
    const auto* failure = runner.model().outbox.state().failureOf(*transferID);
    const bool isDelivered = transfer()->deliveryMode == RelayDeliveryMode::submitted;
    // The transcript knows better than whoever failed.
    if (!isReceived() && !isDelivered)
        throw CommandFailure(standingOf(*transfer()) == TransferStanding::mayBeRetried
                                 ? "notDelivered"
                                 : "deliveryUnconfirmed",
                             failure ? failure->description() : error.value_or("It was not sent."));
    if (isDelivered)
        tell("Delivered", fmt::format("{} has taken the message.", label(other(transfer()->source))));
    if (arguments.wait && !isReceived()) awaitReceipt();
    report();
}

void RelayDelivery::awaitReceipt() {
    runner.model().receipts.startReceiptPolling();
    if (runner.runUntil([this] { return isReceived(); }, *arguments.wait)) return;
    std::string text = fmt::format("The message was not seen within {} seconds.", arguments.wait->count());
    if (const auto& error = runner.error()) text += "\n" + *error;
    throw CommandFailure("notSeen", std::move(text));
}

void RelayDelivery::report() const {
    if (isReceived()) tell("Seen", "The message stands in the destination's transcript.");
    if (const auto& error = runner.error()) output.writeError(visibleText(*error) + "\n");
    if (!arguments.json) return;
    output.write(jsonLine({{"id", *transferID},
                           {"link", transfer()->pairID},
                           {"source", rawValue(transfer()->source)},
                           {"state", isReceived() ? "received" : "delivered"}}));
}

std::shared_ptr<const RelayTransfer> RelayDelivery::transfer() const {
    return transferID ? runner.records().transfers.find(*transferID) : nullptr;
}

bool RelayDelivery::isReceived() const {
    const auto current = transfer();
    return current && !current->isPending();
}

std::string RelayDelivery::situation() const {
    const auto current = transfer();
    if (!current) return "Nothing was saved or sent.";
    return situationOf(*current, arguments.subject);
}

void RelayDelivery::tell(std::string_view step, std::string_view text) const {
    if (!arguments.json)
        output.write(stylist(TextStyle::strong, fmt::format("{:<11}", step)) + std::string(text) + "\n");
}

} // namespace orvel
