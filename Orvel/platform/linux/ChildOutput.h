#pragma once
// What a small program of the system prints.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Nothing if there is no such program in PATH, if it fails, prints more than `childOutputLimit` bytes, or
/// takes longer than `childPatience`; then it is killed. Both ports outlive the task.
Task<std::optional<std::string>> childOutput(MainLoop& loop, Processes& processes, std::string program,
                                             std::vector<std::string> arguments);

constexpr std::chrono::seconds childPatience{2};
constexpr std::size_t childOutputLimit = 65'536;

/// The path of a program in PATH; nothing if it isn't there.
std::optional<std::string> programInPath(Processes& processes, const std::string& name);

} // namespace orvel
