#include "Orvel/cli/ConversationStart.h"

#include "Orvel/cli/ConversationArgument.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/MessageRange.h"
#include "Orvel/cli/NamedLink.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelayError.h"
#include "OrvelCore/text/Unicode.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

// Which commands help with a first message whose conversation is not known.
std::string remedyFor(TransferStanding standing, const RelayInitialTransfer& initial) {
    if (standing == TransferStanding::mayBeRetried)
        return fmt::format(" “orvel-cli retry {0}{1}” may be used, and “orvel-cli copy-saved {0}” prints it.",
                           initial.id, initial.destinationAgent == Agent::codex ? " --folder DIR" : "");
    return fmt::format(
        " If it stands in a new conversation, “orvel-cli receipts” finds that by the text, and "
        "“orvel-cli bind {0} CONVERSATION” names it. If it is nowhere, “orvel-cli copy-saved "
        "{0}” prints it.",
        initial.id);
}

} // namespace

ConversationStart::ConversationStart(const Arguments& arguments, const Places& places, Output& output,
                                     const Stylist& stylist)
    : arguments(arguments), output(output), runner(places), steps(arguments, output, stylist) {}

void ConversationStart::begin() {
    const auto work = [this] {
        runner.restore();
        const auto agent = *arguments.agent;
        const auto source = runner.findConversation(arguments.subject, other(agent));
        runner.model().notices.dismissError();
        runner.model().workspace.chooseSource(source);
        runner.settle();
        if (runner.error()) throw CommandFailure("unreadableConversation", *runner.error());
        if (const auto waiting = runner.model().workspace.relay().activeInitial()) {
            initialID = waiting->id;
            throw CommandFailure(
                "pendingTransfer",
                "An earlier first message from this conversation has not been seen yet. Nothing "
                "new was saved or sent.");
        }
        chooseFolder(agent);
        prepare(source);
        countBefore = runner.records().initialTransfers.size();
        start();
    };
    steps.during(work, [this] { return situation(); });
}

void ConversationStart::retry() {
    const auto work = [this] {
        runner.restore();
        const auto waiting = pendingInitialNamed(arguments.subject, runner.records());
        if (!waiting) throw nothingPending();
        initialID = waiting->id;
        runner.model().notices.dismissError();
        runner.model().workspace.openInitial(*waiting);
        runner.settle();
        if (isReceived()) return report();
        if (runner.error()) throw CommandFailure("unreadableConversation", *runner.error());
        if (transfer() || standing() != TransferStanding::mayBeRetried)
            throw CommandFailure("retryRefused", "This message can't be sent again.");
        chooseFolder(waiting->destinationAgent);
        if (!runner.model().outbox.canSendRelay()) throw RelayError(RelayError::Case::busy);
        start();
    };
    steps.during(work, [this] { return situation(); });
}

void ConversationStart::chooseFolder(Agent agent) {
    if (agent == Agent::claude) {
        if (arguments.folder)
            throw CommandFailure("invalidFolder", "--folder is for a new conversation with Codex.");
        return;
    }
    if (!arguments.folder)
        throw CommandFailure("invalidFolder",
                             "Say with --folder where the new conversation with Codex works.");
    runner.model().workspace.setCreationFolder(standardizedPath(*arguments.folder));
    if (const auto obstacle = runner.model().newConversations.refusal())
        throw CommandFailure("startRefused", *obstacle);
}

// Checks what the model would only refuse, then sets note and range.
void ConversationStart::prepare(const ConversationReference& source) {
    auto& workspace = runner.model().workspace;
    const auto& conversation = *runner.workspace().conversation.get();
    if (arguments.note && !isValidUTF8(*arguments.note))
        throw CommandFailure("invalidNote", "The note is no valid UTF-8 text.");
    if (conversation.isBusy) throw RelayError(RelayError::Case::busy);
    const auto first = rangeStart(arguments, conversation);
    if (arguments.note) workspace.setInstruction(*arguments.note);
    if (first && *first < conversation.messages.size())
        workspace.selectRange(conversation.messages[*first].id);
    runner.settle();
    if (const auto& error = runner.error()) throw CommandFailure("notPrepared", *error);
    if (workspace.relay().preview().empty()) throw RelayError(RelayError::Case::emptyTransfer);
    if (runner.workspace().destination != other(source.agent))
        throw CommandFailure("notPrepared", "Another conversation is open.");
}

void ConversationStart::start() {
    runner.model().send();
    runner.runUntil([this] { return !runner.model().messageOperation().isPreparing(); },
                    RelaySessionRunner::patience);
    if (const auto saved = initial())
        steps.tell("Saved", fmt::format("{} bytes from {} for a new conversation with {}, as {}",
                                        saved->payload->size(), label(saved->sourceReference.agent),
                                        label(saved->destinationAgent), saved->id));
    runner.settle();
    if (!initial())
        throw CommandFailure("notSaved", runner.error().value_or("The first message could not be saved."));
    if (transfer()) {
        const auto pair = runner.records().pairs.find(transfer()->pairID);
        steps.tell("Begun", fmt::format("{} has begun conversation {}, in link {}.",
                                        label(initial()->destinationAgent),
                                        pair->endpoint(initial()->destinationAgent).sessionID, pair->id));
    }
    if (arguments.wait && !isReceived() && standing() != TransferStanding::mayBeRetried)
        runner.awaitReceipt([this] { return isReceived(); }, *arguments.wait);
    if (!isReceived() && (!transfer() || arguments.wait)) throw whyNotBegun();
    report();
}

CommandFailure ConversationStart::whyNotBegun() const {
    const auto& error = runner.error();
    if (transfer())
        return {"notSeen",
                fmt::format("The message was not seen within {} seconds.", arguments.wait->count())};
    const auto* failure = runner.model().outbox.state().failureOf(initial()->id);
    return {standing() == TransferStanding::mayBeRetried ? "notDelivered" : "deliveryUnconfirmed",
            failure ? failure->description() : error.value_or("No conversation was begun.")};
}

void ConversationStart::report() {
    if (isReceived()) steps.tell("Seen", "The message stands in the new conversation's transcript.");
    if (const auto& error = runner.error()) output.writeError(visibleText(*error) + "\n");
    if (!arguments.json) return;
    const auto pair = runner.records().pairs.find(transfer()->pairID);
    const auto agent = initial()->destinationAgent;
    steps.write(jsonLine({{"id", transfer()->id},
                          {"link", pair->id},
                          {"source", rawValue(transfer()->source)},
                          {"conversation", pair->endpoint(agent).sessionID},
                          {"state", isReceived() ? "received" : "delivered"}}));
}

// The one that was saved before, or the one that was saved since.
std::shared_ptr<const RelayInitialTransfer> ConversationStart::initial() const {
    const auto& initials = runner.records().initialTransfers;
    if (initialID) return initials.find(*initialID);
    return countBefore && initials.size() > *countBefore ? initials.find(initials.back().id) : nullptr;
}

std::shared_ptr<const RelayTransfer> ConversationStart::transfer() const {
    const auto first = initial();
    return first && !first->isPending() ? runner.records().transfers.find(first->id) : nullptr;
}

bool ConversationStart::isReceived() const {
    const auto current = transfer();
    return current && !current->isPending();
}

// A start that is left alone goes on without this program, and nobody knows how.
TransferStanding ConversationStart::standing() const {
    return transfer() ? standingOf(*transfer()) : standingOf(*initial());
}

std::string ConversationStart::situation() const {
    if (transfer()) {
        const auto looks = isReceived() ? "" : " “orvel-cli receipts” looks again.";
        return std::string(situationOf(standing())) + looks;
    }
    if (initial()) return std::string(situationOf(standing())) + remedyFor(standing(), *initial());
    if (runner.model().messageOperation().isPreparing())
        return "Nothing was sent. “orvel-cli pending” tells whether it was saved.";
    return "Nothing was saved or sent.";
}

} // namespace orvel
