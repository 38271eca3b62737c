#include "Orvel/delivery/ClaudeConversationNavigation.h"

#include "OrvelCore/addresses/ClaudeRoutes.h"

namespace orvel {

std::optional<ClaudeConversationNavigation::Target>
ClaudeConversationNavigation::target(std::string_view desktopSessionID) {
    static constexpr std::string_view webScheme = "https:", applicationScheme = "claude:";
    const auto path = "/epitaxy/" + std::string(desktopSessionID);
    const auto page = std::string(claudeWebOrigin) + path;
    if (ClaudeCodeRoute(page).desktopSessionID != desktopSessionID) return std::nullopt;
    return Target{path, std::string(applicationScheme) + page.substr(webScheme.size())};
}

} // namespace orvel
