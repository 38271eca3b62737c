#pragma once
// Finds Codex's command line tool.

#include <optional>
#include <string>

namespace orvel {

class Processes;

/// The first one in PATH, then in the usual places of `home` and the system; nothing if there is none.
std::optional<std::string> codexExecutable(Processes& processes, const std::string& home);

} // namespace orvel
