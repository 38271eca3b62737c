#pragma once
// Harm: what goes wrong at which step of a run.

#include "explore/ExplorationDesk.h"

#include <array>
#include <cstdint>
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
    unsigned places = anyPlace; ///< Destinations and editors where it makes sense.

    bool fits(const SimulatedStep& step) const;
    bool fits(unsigned involved) const { return (places & involved) != 0; }
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
