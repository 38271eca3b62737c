#include "Orvel/cli/Completions.h"

#include "Orvel/cli/NamedLink.h"
#include "Orvel/cli/RelayRecords.h"
#include "Orvel/platform/posix/Places.h"
#include "OrvelCore/conversations/ConversationCatalog.h"

namespace orvel {

namespace {

std::string conversations(const std::optional<Agent>& agent, const Places& places) {
    std::string lines;
    for (const auto& reference : ConversationCatalog::list(places.folders))
        if (!agent || reference.agent == *agent) lines += reference.sessionID + "\n";
    return lines;
}

// A pair of a chain is named where a message takes one way.
std::string links(const RelayState& state, bool isActive) {
    std::string lines;
    for (const auto& link : linksOf(state, isActive)) {
        lines += link.id + "\n";
        if (link.pairs.size() > 1)
            for (const auto& pair : link.pairs) lines += pair.id + "\n";
    }
    return lines;
}

std::string identifiers(const std::string& kind, const Places& places) {
    if (kind == "conversations") return conversations(std::nullopt, places);
    if (kind == "codex" || kind == "claude") return conversations(agentNamed(kind), places);
    const auto state = savedRecords(places);
    if (kind == "links" || kind == "closed") return links(state, kind == "links");
    std::string lines;
    for (const auto& initial : state.pendingInitialTransfers()) lines += initial.id + "\n";
    if (kind == "saved")
        for (const auto& link : linksOf(state, true))
            if (link.isPending(state)) lines += link.id + "\n";
    return lines;
}

} // namespace

std::string completions(const std::string& kind, const Places& places) {
    try {
        return identifiers(kind, places);
    } catch (const Failure&) {
        return {};
    }
}

} // namespace orvel
