#pragma once
// Finds Codex's command line tool.

#include <optional>
#include <string>

namespace orvel {

class Processes;

/// The tool: the first in PATH, then in the usual places of `home` and the system.
std::optional<std::string> codexExecutable(Processes& processes, const std::string& home);

} // namespace orvel
