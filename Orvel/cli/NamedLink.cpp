#include "Orvel/cli/NamedLink.h"

#include "Orvel/cli/CommandFailure.h"
#include "OrvelCore/relay/RelayError.h"

#include <algorithm>

#include <fmt/format.h>

namespace orvel {

namespace {

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool beginsWith(std::string_view text, std::string_view beginning) {
    return !beginning.empty() && beginning.size() <= text.size() &&
           std::equal(beginning.begin(), beginning.end(), text.begin(),
                      [](char one, char two) { return upperCase(one) == upperCase(two); });
}

// The link as the identifier means it: a chain's own, or one of its pairs'. Both are UUIDs.
std::optional<NamedLink> fitting(NamedLink link, const std::string& id) {
    if (beginsWith(link.id, id)) return link;
    std::erase_if(link.pairs, [&](const RelayPair& pair) { return !beginsWith(pair.id, id); });
    if (link.pairs.empty()) return std::nullopt;
    return link;
}

bool isExact(const NamedLink& link, const std::string& id) {
    return link.id.size() == id.size();
}

} // namespace

bool NamedLink::isPending(const RelayState& state) const {
    return std::any_of(pairs.begin(), pairs.end(),
                       [&](const RelayPair& pair) { return state.pendingTransfer(pair.id) != nullptr; });
}

std::vector<ConversationReference> conversationsOf(const NamedLink& link, const RelayState& state) {
    const auto& first = link.pairs.front();
    try {
        return state.orderedReferences(first.id);
    } catch (const RelayError&) {
        return {first.claude, first.codex};
    }
}

std::string titlesOf(const NamedLink& link, const RelayState& state) {
    std::string titles;
    for (const auto& conversation : conversationsOf(link, state))
        titles += (titles.empty() ? "" : " ↔ ") + conversation.title;
    return titles;
}

std::vector<NamedLink> linksOf(const RelayState& state, bool isActive) {
    std::vector<NamedLink> found;
    for (const auto& pair : isActive ? state.activePairs() : state.archivedPairs()) {
        const auto chain = state.link(pair.id);
        const auto& id = chain ? chain->id : pair.id;
        const auto known =
            std::find_if(found.begin(), found.end(), [&](const NamedLink& link) { return link.id == id; });
        if (known == found.end())
            found.push_back({id, {pair}, isActive});
        else
            known->pairs.push_back(pair);
    }
    return found;
}

NamedLink linkNamed(const std::string& id, const RelayState& state, bool isActive) {
    std::vector<NamedLink> found;
    for (const auto& link : linksOf(state, isActive))
        if (auto fits = fitting(link, id)) found.push_back(std::move(*fits));
    if (found.size() == 1) return found.front();
    for (const auto& link : found)
        if (isExact(link, id)) return link;
    if (found.size() > 1)
        throw CommandFailure("ambiguous", fmt::format("The IDs of {} links begin with “{}”. Give more of it.",
                                                      found.size(), id));
    for (const auto& link : linksOf(state, !isActive))
        if (fitting(link, id)) {
            if (isActive) throw RelayError(RelayError::Case::pairArchived);
            throw CommandFailure("notClosed", "This link is open.");
        }
    throw CommandFailure("pairNotFound",
                         fmt::format("No {} has the ID “{}”. “orvel-cli links{}” prints the IDs.",
                                     isActive ? "link" : "closed link", id, isActive ? "" : " --closed"));
}

RelayPair pairFrom(const NamedLink& link, Agent source, const RelayState& state) {
    if (link.pairs.size() == 1) return link.pairs.front();
    auto text = fmt::format("This link has several ways from {}. Give the ID of one of them:", label(source));
    for (const auto& pair : link.pairs)
        text += fmt::format("\n  {}  {} → {}", pair.id, pair.endpoint(source).title,
                            pair.endpoint(other(source)).title);
    if (link.isPending(state)) text += "\nA message of this link waits to be seen, so none may go out now.";
    throw CommandFailure("severalWays", text);
}

RelayPair pendingPair(const NamedLink& link, const RelayState& state) {
    for (const auto& pair : link.pairs)
        if (state.pendingTransfer(pair.id)) return pair;
    throw nothingPending();
}

std::shared_ptr<const RelayInitialTransfer> pendingInitialNamed(const std::string& id,
                                                                const RelayState& state) {
    const auto fits = state.pendingInitialTransfers().where(
        [&](const RelayInitialTransfer& initial) { return beginsWith(initial.id, id); });
    if (fits.empty()) return nullptr;
    for (const auto& link : linksOf(state, true))
        if (fits[0].id.size() != id.size() && fitting(link, id))
            throw CommandFailure(
                "ambiguous",
                fmt::format("The IDs of a link and of a first message begin with “{}”. Give more of it.",
                            id));
    if (fits.size() > 1)
        throw CommandFailure(
            "ambiguous",
            fmt::format("The IDs of {} first messages begin with “{}”. Give more of it.", fits.size(), id));
    return state.initialTransfers.find(fits[0].id);
}

} // namespace orvel
