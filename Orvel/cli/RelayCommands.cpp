#include "Orvel/cli/RelayCommands.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/ConversationStart.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/NamedLink.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelayDelivery.h"
#include "Orvel/cli/RelayRecords.h"
#include "Orvel/cli/RelaySessionRunner.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/model/OrvelWorkspacePresentation.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel::RelayCommands {

namespace {

using Json = nlohmann::ordered_json;

// Why a message was not found after a pass; nothing if it has just not arrived.
std::optional<std::string> problemOf(const RelayTransfer& transfer, const OrvelModel& model) {
    const auto pair = model.ledger.state().relayState->pairs.find(transfer.pairID);
    if (!pair) return std::nullopt;
    if (!destinationReading(model.view(), transfer))
        return fmt::format("The conversation “{}” could not be read.",
                           pair->endpoint(other(transfer.source)).title);
    const auto* problem = model.outbox.state().receiptProblemOf(transfer.id);
    return problem ? std::optional(problem->text) : std::nullopt;
}

// Records that can't be read are told of by whoever writes them.
bool meansFirstMessage(const std::string& id, const Places& places) {
    RelayState state;
    try {
        state = savedRecords(places);
    } catch (const Failure&) {
        return false;
    }
    return pendingInitialNamed(id, state) != nullptr;
}

} // namespace

void send(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    RelayDelivery(arguments, places, output, stylist).send();
}

void create(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    ConversationStart(arguments, places, output, stylist).begin();
}

void retry(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    if (meansFirstMessage(arguments.subject, places))
        return ConversationStart(arguments, places, output, stylist).retry();
    RelayDelivery(arguments, places, output, stylist).retry();
}

void receipts(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    RelaySessionRunner runner(places);
    runner.restore();
    std::vector<std::string> waiting;
    for (const auto& initial : runner.records().pendingInitialTransfers()) waiting.push_back(initial.id);
    for (const auto& transfer : runner.records().pendingTransfers()) waiting.push_back(transfer.id);
    runner.settle();
    runner.model().notices.dismissError();
    runner.model().receipts.checkRelayReceipts();
    runner.settle();
    if (const auto& error = runner.error()) throw CommandFailure("notChecked", *error);
    auto array = Json::array();
    TextTable table;
    std::string problems;
    for (const auto& id : waiting) {
        const auto now = runner.records().transfers.find(id);
        if (!now) continue; // A first message whose conversation is not known.
        if (now->isPending()) {
            if (const auto problem = problemOf(*now, runner.model())) problems += "\n" + *problem;
            if (const auto why = whyNoReceiptComes(runner.model().view(), *now))
                output.writeError(*why + "\n");
            continue;
        }
        array.push_back({{"id", now->id},
                         {"link", now->pairID},
                         {"source", rawValue(now->source)},
                         {"receivedMessageID", now->receivedMessageID.value_or("")}});
        table.add({{"Seen", TextStyle::strong},
                   {directionOf(*now)},
                   {"link " + now->pairID},
                   {now->id, TextStyle::faint}});
    }
    if (problems.empty() || !arguments.json)
        output.write(arguments.json ? jsonLine(array) : table.text(stylist));
    if (!problems.empty())
        throw CommandFailure("notChecked", "Not every message could be looked for." + problems);
}

} // namespace orvel::RelayCommands
