#pragma once
// Every call through a simulated port is a numbered step, announced to an observer that may make it go wrong.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/simulated/WorldLoop.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace orvel {

/// A call that is about to happen, and what is to become of it.
struct SimulatedStep {
    std::uint64_t number = 0;   ///< From 1.
    std::string_view operation; ///< As in the port, "attribute". Lives as long as the program.
    std::string_view name;      ///< Of an attribute or an action, "other" for unknown ones; else empty.
    std::uint64_t element = 0;  ///< Number of the element, 0 without one.
    bool isWrite = false;       ///< It changes something outside.
    MainLoop::Duration at{0};   ///< Uptime.

    // What the observer decides

    /// Reports this instead; without it the call goes as usual. What is no accessibility call fails with any
    /// status.
    std::optional<AXStatus> report;
    /// Whether the call has its effect although it reports something else.
    bool happens = false;
    MainLoop::Duration delay{0}; ///< Takes this much longer.
};

/// Counts the steps of all ports of a simulated desktop.
class SimulatedSteps {
  public:
    explicit SimulatedSteps(WorldLoop& loop) : loop(loop) {}

    /// Called before each step; may do anything to the world outside.
    std::function<void(SimulatedStep&)> observer;

    /// Announces a call that takes `duration`, and lets that time pass.
    SimulatedStep take(std::string_view operation, bool isWrite = false,
                       MainLoop::Duration duration = MainLoop::Duration::zero()) {
        SimulatedStep step{.operation = operation, .isWrite = isWrite};
        announce(step);
        loop.spend(duration + step.delay);
        return step;
    }

    /// Numbers the step and tells the observer.
    void announce(SimulatedStep& step) {
        step.number = ++count;
        step.at = loop.worldTime();
        if (observer) observer(step);
    }

    std::uint64_t taken() const { return count; }

  private:
    WorldLoop& loop;
    std::uint64_t count = 0;
};

/// Chance that comes out the same every time.
class SimulatedChance {
  public:
    explicit SimulatedChance(std::uint64_t seed) : state(seed) {}

    std::uint64_t next() {
        state += 0x9E3779B97F4A7C15;
        auto mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }
    /// From 0 to below 1.
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    /// From 0 to below `end`.
    std::uint64_t below(std::uint64_t end) { return next() % end; }

  private:
    std::uint64_t state;
};

} // namespace orvel
