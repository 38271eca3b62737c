#include "Orvel/cli/LinkCommands.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/NamedLink.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelaySessionRunner.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel::LinkCommands {

namespace {

void print(const std::string& id, const Arguments& arguments, Output& output) {
    output.write(arguments.json ? jsonLine({{"id", id}}) : id + "\n");
}

// Throws with the model's words if what was begun has failed.
void finish(RelaySessionRunner& runner, std::string_view caseName, std::string_view unchanged) {
    runner.settle();
    if (const auto& error = runner.error())
        throw CommandFailure(caseName, fmt::format("{}\n{}", *error, unchanged));
}

} // namespace

void link(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    const auto codex = runner.findConversation(arguments.subject, Agent::codex);
    const auto claude = runner.findConversation(arguments.conversationID, Agent::claude);
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

void extend(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    constexpr auto unchanged = "The link is as it was.";
    if (!arguments.end)
        throw CommandFailure("noEnd", "Say with --leading or --trailing at which end it joins the link.");
    const auto named = linkNamed(arguments.subject, runner.records());
    const auto joining = runner.findConversation(arguments.conversationID, std::nullopt);
    const auto& pair = named.pairs.front();
    runner.model().workspace.openPair(pair, Agent::claude);
    runner.settle();
    runner.model().notices.dismissError(); // Whether its conversations can be read now does not matter.
    runner.model().chains.appendRelayConversation(joining, *arguments.end, pair.id);
    finish(runner, "notExtended", unchanged);
    const auto chain = runner.records().link(pair.id);
    if (!chain || !chain->containsIdentity(joining))
        throw CommandFailure("notExtended",
                             fmt::format("{}\n{}", runner.model().notices.status(), unchanged));
    print(chain->id, arguments, output);
}

void close(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    const auto named = linkNamed(arguments.subject, runner.records());
    const auto& pair = named.pairs.front();
    runner.model().notices.dismissError();
    runner.model().links.archiveLink(pair);
    finish(runner, "notClosed", "The link stays open.");
    if (runner.records().pairs.find(pair.id)->isActive())
        throw CommandFailure("notClosed", "The link could not be closed. It stays open.");
    print(named.id, arguments, output);
}

void reopen(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    const auto named = linkNamed(arguments.subject, runner.records(), false);
    const auto& pair = named.pairs.front();
    runner.model().notices.dismissError();
    runner.model().links.restoreLink(pair);
    runner.settle();
    if (!runner.records().pairs.find(pair.id)->isActive())
        throw CommandFailure("notReopened", runner.error().value_or("The link could not be reopened.") +
                                                "\nIt stays closed.");
    print(named.id, arguments, output);
}

void bind(const Arguments& arguments, const Places& places, Output& output) {
    RelaySessionRunner runner(places);
    runner.restore();
    const auto initial = pendingInitialNamed(arguments.subject, runner.records());
    if (!initial)
        throw CommandFailure("nothingPending",
                             fmt::format("No first message that waits has the ID “{}”. “orvel-cli pending” "
                                         "prints the IDs.",
                                         arguments.subject));
    const auto founded = runner.findConversation(arguments.conversationID, initial->destinationAgent);
    runner.model().workspace.openInitial(*initial);
    runner.settle();
    runner.model().notices.dismissError();
    runner.model().links.bindInitialDestination(founded);
    runner.settle();
    const auto bound = runner.records().initialTransfers.find(initial->id);
    if (!bound->boundPairID)
        throw CommandFailure("notBound", runner.error().value_or("It could not be bound.") +
                                             "\nThe first message waits as before.");
    print(*bound->boundPairID, arguments, output);
}

} // namespace orvel::LinkCommands
