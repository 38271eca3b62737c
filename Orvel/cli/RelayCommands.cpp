#include "Orvel/cli/RelayCommands.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/ConversationArgument.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelayDelivery.h"
#include "Orvel/cli/RelayRecords.h"
#include "Orvel/cli/RelaySessionRunner.h"
#include "Orvel/cli/TerminalText.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel::RelayCommands {

namespace {

using Json = nlohmann::ordered_json;

// Why a message was not found after a pass; nothing if it has just not arrived.
std::optional<std::string> problemOf(const RelayTransfer& transfer, const RelaySession& relay) {
    const auto pair = relay.relayState->pairs.find(transfer.pairID);
    if (!pair) return std::nullopt;
    const auto& destination = pair->endpoint(other(transfer.source));
    const auto reading = relay.pairReadings->find(ConversationReading::key(destination));
    if (reading == relay.pairReadings->end())
        return fmt::format("The conversation “{}” could not be read.", destination.title);
    try {
        auto state = relay.relayState.get();
        if (state.reconcile(transfer.id, *reading->second)) return "The receipt could not be saved.";
        return std::nullopt;
    } catch (const Failure& failure) {
        return failure.what();
    }
}

} // namespace

void link(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    runner.model().discoverConversations();
    runner.settle();
    const auto catalog = runner.relay().catalog.get();
    const auto codex = referenceNamed(arguments.subject, Agent::codex, catalog);
    const auto claude = referenceNamed(arguments.claudeID, Agent::claude, catalog);
    const auto count = runner.relay().relayState->pairs.size();
    runner.model().dismissError();
    runner.model().chooseSource(codex);
    runner.model().connectDestination(claude);
    if (const auto& error = runner.session().error.get()) throw CommandFailure("notLinked", *error);
    const auto pair = runner.model().activePair();
    if (!pair) throw CommandFailure("notLinked", "The conversations could not be linked.");
    const bool isNew = runner.relay().relayState->pairs.size() > count;
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
    const auto waiting = runner.relay().relayState->pendingTransfers();
    runner.settle();
    runner.model().dismissError();
    runner.model().checkRelayReceipts();
    runner.settle();
    if (const auto& error = runner.session().error.get()) throw CommandFailure("notChecked", *error);
    auto array = Json::array();
    TextTable table;
    std::string problems;
    for (const auto& transfer : waiting) {
        const auto now = runner.relay().relayState->transfers.find(transfer.id);
        if (now->isPending()) {
            if (const auto problem = problemOf(*now, runner.relay())) problems += "\n" + *problem;
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
