#include "Orvel/reading/CodexExecutable.h"

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

} // namespace

std::optional<std::string> codexExecutable(Processes& processes, const std::string& home) {
    std::vector<std::string> candidates;
    for (const auto& folder : entriesOf(processes.environmentVariable("PATH").value_or("")))
        candidates.push_back(joinedPath(folder, "codex"));
    for (const auto* place : {"Library/pnpm/bin/codex", ".local/bin/codex"})
        candidates.push_back(joinedPath(home, place));
    candidates.insert(candidates.end(), {"/opt/homebrew/bin/codex", "/usr/local/bin/codex"});
    for (auto& candidate : candidates)
        if (processes.isExecutable(candidate)) return std::move(candidate);
    return std::nullopt;
}

} // namespace orvel
