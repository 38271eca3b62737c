#include "Orvel/reading/AgentTool.h"

#include "Orvel/desktop/Processes.h"
#include "OrvelCore/files/FilePath.h"

#include <string_view>
#include <vector>

namespace orvel {

namespace {

std::vector<std::string> entriesOf(std::string_view searchPath) {
    std::vector<std::string> entries;
    for (;;) {
        const auto end = searchPath.find(':');
        if (end != 0 && !searchPath.empty()) entries.emplace_back(searchPath.substr(0, end));
        if (end == searchPath.npos) return entries;
        searchPath.remove_prefix(end + 1);
    }
}

// The folders into which installers put the command without changing PATH for programs of the desktop.
std::vector<std::string> usualFolders(Agent agent, const std::string& home) {
    std::vector<std::string> folders{joinedPath(home, "Library/pnpm/bin"), joinedPath(home, ".local/bin")};
    if (agent == Agent::claude) folders.push_back(joinedPath(home, ".claude/local"));
    folders.insert(folders.end(), {"/opt/homebrew/bin", "/usr/local/bin"});
    return folders;
}

} // namespace

std::optional<std::string> agentTool(Agent agent, Processes& processes, const std::string& home) {
    auto folders = entriesOf(processes.environmentVariable("PATH").value_or(""));
    for (auto& folder : usualFolders(agent, home)) folders.push_back(std::move(folder));
    for (const auto& folder : folders)
        if (auto candidate = joinedPath(folder, rawValue(agent)); processes.isExecutable(candidate))
            return candidate;
    return std::nullopt;
}

std::map<std::string, std::string> toolEnvironment(const std::string& tool, Processes& processes) {
    const auto folder = std::string(parentFolder(tool));
    const auto oldPath = processes.environmentVariable("PATH").value_or("");
    return {{"PATH", folder + ":/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:" + oldPath}};
}

} // namespace orvel
