#include "Orvel/delivery/ClaudeCodePageSelection.h"

#include "OrvelCore/addresses/ClaudeRoutes.h"

namespace orvel::ClaudeCodePageSelection {

namespace {

FailureWords wordsOf(Failure::Case kind) {
    switch (kind) {
    case Failure::Case::multipleCodePages:
        return {"multipleCodePages",
                "Multiple Claude Code conversations were found. No message was inserted."};
    case Failure::Case::invalidURLValue: break;
    }
    return {"invalidURLValue", "Couldn't verify the Claude conversation URL type. No message was inserted."};
}

std::optional<std::string> pathOf(const ClaudeCodeRoute& route) {
    switch (route.kind) {
    case ClaudeCodeRoute::Kind::newConversation: return "/epitaxy";
    case ClaudeCodeRoute::Kind::conversation: return "/epitaxy/" + *route.desktopSessionID;
    case ClaudeCodeRoute::Kind::unsupported: break;
    }
    return std::nullopt;
}

} // namespace

Failure::Failure(Case kind) : orvel::Failure(wordsOf(kind)), which(kind) {}

std::optional<std::string> select(std::span<const URLValue> values) {
    std::optional<std::string> found;
    bool isAmbiguous = false;
    for (const auto& [kind, url] : values) {
        if (kind == URLValue::Kind::missing) continue;
        if (kind == URLValue::Kind::invalidType) throw Failure(Failure::Case::invalidURLValue);
        const auto path = pathOf(ClaudeCodeRoute(url));
        if (!path) continue;
        isAmbiguous = isAmbiguous || found;
        found = path;
    }
    if (isAmbiguous) throw Failure(Failure::Case::multipleCodePages);
    return found;
}

} // namespace orvel::ClaudeCodePageSelection
