#pragma once
// What a judge sees of a command that is typed in Claude's editor: what the person's Return sends there, and
// what Orvel erases.

#include "explore/ExplorationDesk.h"

#include <string>
#include <vector>

namespace orvel::explore {

class SafetyJudge;

class CommandWatch {
  public:
    /// Both outlive the watch.
    CommandWatch(ExplorationDesk& desk, SafetyJudge& judge);
    ~CommandWatch();
    CommandWatch(const CommandWatch&) = delete;
    CommandWatch& operator=(const CommandWatch&) = delete;

    /// To be asked at the end of a run.
    void finish();

  private:
    void see(const SimulatedClaude::Deed& deed);
    bool standsSomewhere(const std::string& instruction) const;

    ExplorationDesk& desk;
    SafetyJudge& judge;
    std::size_t transfersBefore;
    bool wasProved;
    std::vector<std::string> erased; ///< What stood there.
};

} // namespace orvel::explore
