#include "Orvel/cli/RelayCommands.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/ConversationArgument.h"
#include "Orvel/cli/JsonLine.h"
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

} // namespace

void link(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    runner.model().catalogue.discoverConversations();
    runner.settle();
    const auto catalog = runner.model().catalogue.state().catalog.get();
    const auto codex = referenceNamed(arguments.subject, Agent::codex, catalog);
    const auto claude = referenceNamed(arguments.claudeID, Agent::claude, catalog);
    const auto count = runner.records().pairs.size();
    runner.model().notices.dismissError();
    runner.model().workspace.chooseSource(codex);
    runner.model().links.connectDestination(claude);
    runner.settle();
    if (runner.error()) throw CommandFailure("notLinked", *runner.error());
    const auto pair = runner.model().workspace.relay().activePair();
    if (!pair) throw CommandFailure("notLinked", "The conversations could not be linked.");
    const bool isNew = runner.records().pairs.size() > count;
    output.write(arguments.json ? jsonLine({{"id", pair->id}, {"isNew", isNew}}) : pair->id + "\n");
}

void send(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    RelayDelivery(arguments, places, output, stylist).send();
}

void retry(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    RelayDelivery(arguments, places, output, stylist).retry();
}

void receipts(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist) {
    RelaySessionRunner runner(places);
    runner.restore();
    const auto waiting = runner.records().pendingTransfers();
    runner.settle();
    runner.model().notices.dismissError();
    runner.model().receipts.checkRelayReceipts();
    runner.settle();
    if (const auto& error = runner.error()) throw CommandFailure("notChecked", *error);
    auto array = Json::array();
    TextTable table;
    std::string problems;
    for (const auto& transfer : waiting) {
        const auto now = runner.records().transfers.find(transfer.id);
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
