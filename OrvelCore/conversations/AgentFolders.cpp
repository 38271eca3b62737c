#include "OrvelCore/conversations/AgentFolders.h"

#include "OrvelCore/files/FilePath.h"

namespace orvel {

AgentFolders AgentFolders::of(const std::string& home, const std::optional<std::string>& codexHome,
                              const std::optional<std::string>& claudeConfigDir,
                              const std::string& desktopConfig) {
    const auto folder = [&](const std::optional<std::string>& chosen, std::string_view name) {
        return standardizedPath(chosen && !chosen->empty() ? *chosen : joinedPath(home, name));
    };
    return {.home = standardizedPath(home),
            .codex = folder(codexHome, ".codex"),
            .claude = folder(claudeConfigDir, ".claude"),
            .claudeDesktop = standardizedPath(joinedPath(desktopConfig, "Claude/claude-code-sessions"))};
}

std::vector<ConversationRoot> AgentFolders::defaultRoots() const {
    return {{Agent::codex, joinedPath(codex, "sessions")}, {Agent::claude, joinedPath(claude, "projects")}};
}

} // namespace orvel
