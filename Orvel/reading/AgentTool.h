#pragma once
// The agents' own commands: where they lie, and what they need around them.

#include "OrvelCore/conversations/Agent.h"

#include <map>
#include <optional>
#include <string>

namespace orvel {

class Processes;

/// The path of the command `codex` or `claude`: the first one in PATH, then in the usual places of `home` and
/// the system; nothing if there is none.
std::optional<std::string> agentTool(Agent agent, Processes& processes, const std::string& home);

/// The variables that a started tool needs: a PATH in which it finds what lies beside it, also where Orvel
/// was started without a shell.
std::map<std::string, std::string> toolEnvironment(const std::string& tool, Processes& processes);

} // namespace orvel
