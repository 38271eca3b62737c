#include "Orvel/cli/RelayRecords.h"

#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/NamedLink.h"
#include "Orvel/model/RelativeTime.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/model/TransferStanding.h"
#include "Orvel/platform/posix/SystemClock.h"
#include "OrvelCore/files/FilePath.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t titlesColumns = 80;

Json jsonOf(const NamedLink& link, const RelayState& state) {
    auto conversations = Json::array(), pairs = Json::array();
    for (const auto& conversation : conversationsOf(link, state))
        conversations.push_back(orvel::jsonOf(conversation));
    for (const auto& pair : link.pairs) pairs.push_back(pair.id);
    return {{"id", link.id},
            {"conversations", std::move(conversations)},
            {"pairs", std::move(pairs)},
            {"isPending", link.isPending(state)}};
}

Json jsonOf(const RelayTransfer& transfer) {
    return {{"id", transfer.id},
            {"link", transfer.pairID},
            {"source", rawValue(transfer.source)},
            {"createdAt", transfer.createdAt},
            {"state", nameOf(standingOf(transfer))}};
}

// A first message has no link yet.
Json jsonOf(const RelayInitialTransfer& initial) {
    return {{"id", initial.id},
            {"link", nullptr},
            {"source", rawValue(initial.sourceReference.agent)},
            {"createdAt", initial.createdAt},
            {"state", nameOf(standingOf(initial))},
            {"conversation", initial.sourceReference.sessionID}};
}

} // namespace

std::string directionOf(const RelayTransfer& transfer) {
    return fmt::format("{} → {}", label(transfer.source), label(other(transfer.source)));
}

RelayState savedRecords(const Places& places) {
    return loadRelayState(joinedPath(places.dataFolder, "relay-state.json")).value_or(RelayState());
}

std::string RelayRecords::links(const Arguments& arguments, const Places& places, const Stylist& stylist) {
    const auto state = savedRecords(places);
    auto array = Json::array();
    TextTable table;
    for (const auto& link : linksOf(state, !arguments.closed)) {
        array.push_back(jsonOf(link, state));
        table.add({{titlesOf(link, state), TextStyle::strong, titlesColumns},
                   {link.isPending(state) ? "pending" : ""},
                   {link.id, TextStyle::faint}});
    }
    return arguments.json ? jsonLine(array) : table.text(stylist);
}

std::string RelayRecords::pending(const Arguments& arguments, const Places& places, const Stylist& stylist) {
    const auto now = SystemClock::now();
    auto array = Json::array();
    TextTable table;
    const auto state = savedRecords(places);
    for (const auto& initial : state.pendingInitialTransfers()) {
        array.push_back(jsonOf(initial));
        table.add({{fmt::format("{} → new {}", label(initial.sourceReference.agent),
                                label(initial.destinationAgent))},
                   {relativeTime(initial.createdAt, now, localUTCOffset(now)), TextStyle::faint},
                   {std::string(wordsOf(standingOf(initial))), TextStyle::strong},
                   {"first message"},
                   {initial.id, TextStyle::faint}});
    }
    for (const auto& transfer : state.pendingTransfers()) {
        array.push_back(jsonOf(transfer));
        table.add({{directionOf(transfer)},
                   {relativeTime(transfer.createdAt, now, localUTCOffset(now)), TextStyle::faint},
                   {std::string(wordsOf(standingOf(transfer))), TextStyle::strong},
                   {"link " + transfer.pairID},
                   {transfer.id, TextStyle::faint}});
    }
    return arguments.json ? jsonLine(array) : table.text(stylist);
}

std::string RelayRecords::savedMessage(const Arguments& arguments, const Places& places) {
    const auto state = savedRecords(places);
    if (const auto initial = pendingInitialNamed(arguments.subject, state)) {
        if (!arguments.json) return *initial->payload;
        auto json = jsonOf(*initial);
        json["message"] = *initial->payload;
        return jsonLine(json);
    }
    const auto pair = pendingPair(linkNamed(arguments.subject, state), state);
    const auto transfer = state.pendingTransfer(pair.id);
    if (!arguments.json) return *transfer->payload;
    auto json = jsonOf(*transfer);
    json["message"] = *transfer->payload;
    return jsonLine(json);
}

} // namespace orvel
