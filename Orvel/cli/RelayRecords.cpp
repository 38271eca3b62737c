#include "Orvel/cli/RelayRecords.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/model/RelativeTime.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/model/TransferStanding.h"
#include "Orvel/platform/posix/SystemClock.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/relay/RelayError.h"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t titlesColumns = 80;

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool beginsWith(std::string_view text, std::string_view beginning) {
    return beginning.size() <= text.size() &&
           std::equal(beginning.begin(), beginning.end(), text.begin(),
                      [](char one, char two) { return upperCase(one) == upperCase(two); });
}

RelayState stateIn(const Places& places) {
    return loadRelayState(joinedPath(places.dataFolder, "relay-state.json")).value_or(RelayState());
}

std::vector<ConversationReference> conversationsOf(const RelayPair& pair, const RelayState& state) {
    try {
        return state.orderedReferences(pair.id);
    } catch (const RelayError&) {
        return {pair.claude, pair.codex};
    }
}

std::string titlesOf(const RelayPair& pair, const RelayState& state) {
    std::string titles;
    for (const auto& conversation : conversationsOf(pair, state))
        titles += (titles.empty() ? "" : " ↔ ") + conversation.title;
    return titles;
}

Json jsonOf(const RelayPair& pair, const RelayState& state) {
    auto conversations = Json::array();
    for (const auto& conversation : conversationsOf(pair, state))
        conversations.push_back(orvel::jsonOf(conversation));
    return {{"id", pair.id},
            {"conversations", std::move(conversations)},
            {"isPending", state.pendingTransfer(pair.id) != nullptr}};
}

Json jsonOf(const RelayTransfer& transfer) {
    return {{"id", transfer.id},
            {"link", transfer.pairID},
            {"source", rawValue(transfer.source)},
            {"createdAt", transfer.createdAt},
            {"state", nameOf(standingOf(transfer))}};
}

} // namespace

std::string directionOf(const RelayTransfer& transfer) {
    return fmt::format("{} → {}", label(transfer.source), label(other(transfer.source)));
}

RelayPair pairNamed(const std::string& id, const RelayState& state) {
    const auto fitting =
        state.pairs.where([&](const RelayPair& pair) { return !id.empty() && beginsWith(pair.id, id); });
    const auto active = fitting.where([](const RelayPair& pair) { return pair.isActive(); });
    if (active.size() == 1) return active[0];
    if (const auto exact = active.findIf([&](const RelayPair& pair) { return pair.id.size() == id.size(); }))
        return *exact;
    if (active.size() > 1)
        throw CommandFailure("ambiguous", fmt::format("The IDs of {} links begin with “{}”. Give more of it.",
                                                      active.size(), id));
    if (!fitting.empty()) throw RelayError(RelayError::Case::pairArchived);
    throw CommandFailure("pairNotFound",
                         fmt::format("No link has the ID “{}”. “orvel-cli links” prints the IDs.", id));
}

std::string RelayRecords::links(const Arguments& arguments, const Places& places, const Stylist& stylist) {
    const auto state = stateIn(places);
    auto array = Json::array();
    TextTable table;
    for (const auto& pair : state.activePairs()) {
        array.push_back(jsonOf(pair, state));
        table.add({{titlesOf(pair, state), TextStyle::strong, titlesColumns},
                   {state.pendingTransfer(pair.id) ? "pending" : ""},
                   {pair.id, TextStyle::faint}});
    }
    return arguments.json ? jsonLine(array) : table.text(stylist);
}

std::string RelayRecords::pending(const Arguments& arguments, const Places& places, const Stylist& stylist) {
    const auto now = SystemClock::now();
    auto array = Json::array();
    TextTable table;
    for (const auto& transfer : stateIn(places).pendingTransfers()) {
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
    const auto state = stateIn(places);
    const auto transfer = state.pendingTransfer(pairNamed(arguments.subject, state).id);
    if (!transfer) throw nothingPending();
    if (!arguments.json) return *transfer->payload;
    auto json = jsonOf(*transfer);
    json["message"] = *transfer->payload;
    return jsonLine(json);
}

} // namespace orvel
