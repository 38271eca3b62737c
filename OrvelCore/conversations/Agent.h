#pragma once
// The agents whose conversations Orvel carries.

#include <array>
#include <optional>
#include <string_view>

namespace orvel {

enum class Agent { codex, claude };

inline constexpr std::array allAgents{Agent::codex, Agent::claude};

/// The agent's name in files, URLs and on the command line.
constexpr std::string_view rawValue(Agent agent) {
    return agent == Agent::codex ? "codex" : "claude";
}

/// The agent's name for the user.
constexpr std::string_view label(Agent agent) {
    return agent == Agent::codex ? "Codex" : "Claude";
}

constexpr Agent other(Agent agent) {
    return agent == Agent::codex ? Agent::claude : Agent::codex;
}

/// The agent with this raw value; the case counts.
constexpr std::optional<Agent> agentNamed(std::string_view rawName) {
    for (const auto agent : allAgents)
        if (rawValue(agent) == rawName) return agent;
    return std::nullopt;
}

} // namespace orvel
