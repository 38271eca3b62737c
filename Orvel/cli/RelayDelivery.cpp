#include "Orvel/cli/RelayDelivery.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/MessageRange.h"
#include "Orvel/cli/NamedLink.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/model/TransferStanding.h"
#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/text/Unicode.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

// Which commands help with a saved message.
std::string remedyFor(TransferStanding standing, const std::string& link) {
    switch (remedyOf(standing)) {
    case TransferRemedy::retryOrCopy:
        return fmt::format(" “orvel-cli retry {0}” may be used, and “orvel-cli copy-saved {0}” prints it.",
                           link);
    case TransferRemedy::copy: return fmt::format(" “orvel-cli copy-saved {}” prints it.", link);
    case TransferRemedy::lookThenCopy:
        return fmt::format(" If it is not there, “orvel-cli copy-saved {}” prints it.", link);
    case TransferRemedy::lookAgain: return " “orvel-cli receipts” looks again.";
    case TransferRemedy::none: break;
    }
    return {};
}

} // namespace

RelayDelivery::RelayDelivery(const Arguments& arguments, const Places& places, Output& output,
                             const Stylist& stylist)
    : arguments(arguments), output(output), runner(places), steps(arguments, output, stylist) {}

void RelayDelivery::send() {
    const auto work = [this] {
        runner.restore();
        const auto pair =
            pairFrom(linkNamed(arguments.subject, runner.records()), *arguments.agent, runner.records());
        runner.open(pair, *arguments.agent);
        runner.model().outbox.allowClaudeCode(arguments.throughClaudeCode);
        prepareNew(pair);
        countBefore = runner.records().transfers.size();
        runner.model().outbox.sendRelay();
        runner.runUntil([this] { return !runner.model().outbox.state().operation.isPreparing(); },
                        RelaySessionRunner::patience);
        if (const auto saved = transfer())
            steps.tell("Saved", fmt::format("{} bytes from {} to {}, as {}", saved->payload->size(),
                                            label(saved->source), label(other(saved->source)), saved->id));
        deliver();
    };
    steps.during(work, [this] { return situation(); });
}

void RelayDelivery::retry() {
    const auto work = [this] {
        runner.restore();
        const auto pair = pendingPair(linkNamed(arguments.subject, runner.records()), runner.records());
        const auto pending = runner.records().pendingTransfer(pair.id);
        transferID = pending->id;
        runner.open(pair, pending->source);
        if (isReceived()) return report();
        if (mayArrive()) throw CommandFailure("retryRefused", "This message can't be sent again.");
        if (runner.workspace().conversation.get()->isBusy) throw RelayError(RelayError::Case::busy);
        steps.tell("Again", fmt::format("{} bytes from {} to {}, saved as {}", pending->payload->size(),
                                        label(pending->source), label(other(pending->source)), *transferID));
        runner.model().outbox.allowClaudeCode(arguments.throughClaudeCode);
        runner.model().outbox.sendRelay();
        deliver();
    };
    steps.during(work, [this] { return situation(); });
}

// Checks what the model would only refuse, then sets note and range. What is not given stays as the window
// left it.
void RelayDelivery::prepareNew(const RelayPair& pair) {
    const auto& workspace = runner.workspace();
    const auto& state = runner.records();
    if (const auto pending = state.pendingTransfer(pair.id)) {
        transferID = pending->id;
        throw CommandFailure("pendingTransfer",
                             "An earlier message of this link has not been seen yet. Nothing new "
                             "was saved or sent.");
    }
    const auto& conversation = *workspace.conversation.get();
    const auto chosen = rangeStart(arguments, conversation);
    const bool isChosen = chosen && *chosen < conversation.messages.size();
    const auto from = isChosen ? std::optional(conversation.messages[*chosen].id) : std::nullopt;
    if (arguments.note && !isValidUTF8(*arguments.note))
        throw CommandFailure("invalidNote", "The note is no valid UTF-8 text.");
    const auto start = from ? from : workspace.selectedStartMessageID.get();
    const auto note = arguments.note.value_or(workspace.instruction.get());
    const auto text = RelayFormatter::render(*arguments.agent,
                                             state.preview(pair.id, *arguments.agent, conversation, start),
                                             trimmed(note), pair.speakerLabel(*arguments.agent));
    if (text.empty()) throw RelayError(RelayError::Case::emptyTransfer);
    if (const auto refusal =
            runner.model().outbox.state().refusal(pair.endpoint(other(*arguments.agent)), text))
        throw CommandFailure("messageRefused", *refusal);

    if (arguments.note) runner.model().workspace.setInstruction(*arguments.note);
    if (from) runner.model().workspace.selectRange(from);
    runner.model().ledger.flushDrafts();
    runner.settle();
    if (runner.error()) throw CommandFailure("notSaved", *runner.error());
}

void RelayDelivery::deliver() {
    runner.settle();
    const auto& error = runner.error();
    if (!transfer()) throw CommandFailure("notSaved", error.value_or("The message could not be saved."));
    const bool isDelivered = transfer()->deliveryMode == RelayDeliveryMode::submitted;
    if (isDelivered)
        steps.tell("Delivered", fmt::format("{} has taken the message.", label(other(transfer()->source))));
    if (arguments.wait && mayArrive() && !isReceived())
        runner.awaitReceipt([this] { return isReceived(); }, *arguments.wait);
    // The transcript knows better than whoever failed.
    if (!isReceived() && (!isDelivered || arguments.wait)) throw whyNotReceived(isDelivered);
    report();
}

CommandFailure RelayDelivery::whyNotReceived(bool isDelivered) const {
    const auto& state = runner.model().outbox.state();
    const auto& error = runner.error();
    if (const auto* problem = state.receiptProblemOf(transfer()->id))
        return {problem->isSeen ? "receiptNotSaved" : "notChecked", problem->text};
    if (!isDelivered) {
        const auto* failure = state.failureOf(transfer()->id);
        return {mayArrive() ? "deliveryUnconfirmed" : "notDelivered",
                failure ? failure->description() : error.value_or("It was not sent.")};
    }
    std::string text = fmt::format("The message was not seen within {} seconds.", arguments.wait->count());
    if (error) text += "\n" + *error;
    return {"notSeen", std::move(text)};
}

void RelayDelivery::report() {
    if (isReceived()) steps.tell("Seen", "The message stands in the destination's transcript.");
    if (const auto& error = runner.error()) output.writeError(visibleText(*error) + "\n");
    if (!arguments.json) return;
    steps.write(jsonLine({{"id", transfer()->id},
                          {"link", transfer()->pairID},
                          {"source", rawValue(transfer()->source)},
                          {"state", isReceived() ? "received" : "delivered"}}));
}

// The message that is retried, or the one that was saved since.
std::shared_ptr<const RelayTransfer> RelayDelivery::transfer() const {
    const auto& transfers = runner.records().transfers;
    if (transferID) return transfers.find(*transferID);
    return countBefore && transfers.size() > *countBefore ? transfers.find(transfers.back().id) : nullptr;
}

// A delivery that is left alone ends with this program, and nobody knows how.
TransferStanding RelayDelivery::standing() const {
    const auto& model = runner.model();
    const auto known = model.outbox.state().standing(*transfer(), model.workspace.relay());
    return known == TransferStanding::delivering ? standingOf(*transfer()) : known;
}

bool RelayDelivery::mayArrive() const {
    return standing() != TransferStanding::mayBeRetried && standing() != TransferStanding::outdated;
}

bool RelayDelivery::isReceived() const {
    const auto current = transfer();
    return current && !current->isPending();
}

std::string RelayDelivery::situation() const {
    if (transfer()) return std::string(situationOf(standing())) + remedyFor(standing(), arguments.subject);
    if (runner.model().outbox.state().operation.isPreparing())
        return "Nothing was sent. “orvel-cli pending” tells whether it was saved.";
    return "Nothing was saved or sent.";
}

} // namespace orvel
