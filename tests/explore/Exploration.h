#pragma once
// Runs scenarios under fault plans, judges each run, and sums up what was found.

#include "explore/FaultPlan.h"
#include "explore/SafetyJudge.h"
#include "explore/Scenarios.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orvel::explore {

/// One run, and all that makes it the same run again.
struct RunPlan {
    const Scenario* scenario = nullptr;
    FaultPlan faults;
    std::uint64_t seed = 1; ///< Of the latencies, and of the platform's and the program's habits if not 1.
};

/// A line of the trace.
struct TraceLine {
    std::uint64_t number, element;
    std::string_view operation, name, fault;
    MainLoop::Duration at;
};

std::string inWords(const TraceLine& line);

struct RunResult {
    std::uint64_t steps = 0; ///< Of the work, without what came before and after.
    std::uint64_t reads = 0; ///< Of accessibility attributes in the work.
    std::uint64_t trace = 0; ///< A digest of all steps with their times.
    MainLoop::Duration longestHold{0};
    MainLoop::Duration longestOwnHold{0}; ///< Without what nobody can shorten.
    MainLoop::Duration longestKeyWait{0}; ///< For the tap.
    bool isReceived = false, isRetryOffered = false;
    std::string failure; ///< What Orvel told the user.
    /// All that a person could tell this run by from another: what was received and offered, what Orvel said,
    /// what it did to the destination, and how long it took. The same in every run of the same plan.
    std::string outcome;
    std::vector<BrokenRule> broken;
    std::vector<TraceLine> lastSteps;
    std::vector<SimulatedStep> allSteps; ///< Of the work, in runs without faults.
};

/// What many runs came to.
struct ExplorationReport {
    std::uint64_t runs = 0, steps = 0, faults = 0;
    MainLoop::Duration longestHold{0}, longestOwnHold{0}, longestKeyWait{0};
    MainLoop::Duration longestBrowserHold{0}; ///< At ChatGPT's page, whose calls have a timeout of their own.
    std::uint64_t received = 0, retriesOffered = 0;
    /// The first runs that broke a rule, and the first for each rule, with its plan in words, the rules and
    /// the last steps.
    std::vector<std::string> failures;
    std::uint64_t failed = 0;
    std::map<Rule, std::uint64_t> broken; ///< How many runs broke each.

    struct Effect {
        std::uint64_t runs = 0, changed = 0;
    };
    /// By the name of a kind of fault: how many runs had it alone, and in how many the outcome was another
    /// than without it.
    std::map<std::string_view, Effect> effects;
    /// The kinds that never changed anything, which proves nothing of the rules.
    std::vector<std::string_view> idleFaults() const;

    void add(const RunPlan& plan, const RunResult& result);
    void add(const ExplorationReport& other);
};

class Exploration {
  public:
    /// Works in a folder of its own, which it removes behind it; in memory where the system has such a place.
    Exploration();
    ~Exploration();
    Exploration(const Exploration&) = delete;
    Exploration& operator=(const Exploration&) = delete;

    RunResult run(const RunPlan& plan);

    /// Every kind of fault that makes sense at every `stride`th step of the scenario, from `first` on, and at
    /// every step that changes something outside; at every step of a short one. Of a variant only a whole
    /// sweep takes the steps that change something.
    ExplorationReport sweep(const Scenario& scenario, std::uint64_t stride = 1, std::uint64_t first = 1);

    /// The only kind of fault in sweeps, if there is one.
    const FaultKind* onlyFault = nullptr;
    /// Ends a sweep or a series of mixtures with the first run that breaks a rule.
    bool stopsWhenBroken = false;

    /// Runs with the seeds from `first` on: scenario, habits, latencies and faults all follow from the seed.
    ExplorationReport mix(std::uint64_t first, std::uint64_t count);
    RunPlan mixture(std::uint64_t seed);

  private:
    std::uint64_t stepsOf(const Scenario& scenario);

    std::string folder;
    std::map<std::string_view, std::uint64_t> stepCounts;
};

} // namespace orvel::explore
