#pragma once
// What a judge sees of a destination from the destination's own side. Each program has one.

#include "explore/ExplorationDesk.h"

#include <memory>
#include <string>

namespace orvel::explore {

class SafetyJudge;

/// When something was last looked at, and what was to be seen.
template <typename Seen>
struct Look {
    MainLoop::Duration at{0};
    Seen seen{};
};

class DestinationWatch {
  public:
    virtual ~DestinationWatch() = default;

    /// Told of every step that is about to happen, after the faults had their turn. Gives whether it touches
    /// the destination.
    virtual bool touches(const SimulatedStep& step) = 0;

    /// Whether anything may have been put into it.
    virtual bool mayHoldMessage() const = 0;

    /// Whether the text stands in its transcript, as a message of the user's.
    virtual bool hasReceived(const std::string& text) const = 0;

    /// Whether it stands there so that Orvel can be sure of it: not on one of several branches.
    virtual bool isProvable(const std::string& text) const { return hasReceived(text); }

    /// Asked at the end of a run for what can only be said then.
    virtual void finish(const std::string&) {}
};

/// The one of the program into which the desk's message goes. It reports to the judge.
std::unique_ptr<DestinationWatch> watchClaude(ExplorationDesk& desk, SafetyJudge& judge);
std::unique_ptr<DestinationWatch> watchCodex(ExplorationDesk& desk, SafetyJudge& judge);
std::unique_ptr<DestinationWatch> watchNewWithCodex(ExplorationDesk& desk, SafetyJudge& judge);
std::unique_ptr<DestinationWatch> watchDia(ExplorationDesk& desk, SafetyJudge& judge);
std::unique_ptr<DestinationWatch> watchClaudeCode(ExplorationDesk& desk, SafetyJudge& judge);

} // namespace orvel::explore
