#pragma once
// Harm: what goes wrong at which step of a run.

#include "explore/ExplorationDesk.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace orvel::explore {

/// Where a fault makes sense.
enum class FaultPlace { anyStep, read, write, fileWrite, childStart };

struct FaultKind {
    std::string_view name;
    FaultPlace place;
    void (*happen)(ExplorationDesk& desk, SimulatedStep& step);
    std::optional<Agent> destination = {}; ///< Makes sense only for messages into this one.

    bool fits(const SimulatedStep& step) const;
    bool fits(Agent messageTo) const { return !destination || destination == messageTo; }
};

/// Every kind of fault.
std::span<const FaultKind> allFaults();
/// The one of that name, or null.
const FaultKind* faultNamed(std::string_view name);

struct Fault {
    const FaultKind* kind;
    std::uint64_t step; ///< From the beginning of the work.
};

using FaultPlan = std::vector<Fault>;

} // namespace orvel::explore
