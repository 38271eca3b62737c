#pragma once
// Judgement of one run by all rules. What happens in the destination is seen by its watch.

#include "explore/CommandWatch.h"
#include "explore/DestinationWatch.h"
#include "explore/SafetyRules.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvel::explore {

struct Scenario;

class SafetyJudge {
  public:
    /// The desk and the scenario outlive the judge.
    SafetyJudge(ExplorationDesk& desk, const Scenario& scenario);

    /// The user lets Orvel press Send once more.
    void allowAnotherPress() { ++presses; }
    /// Calls that were made slow on purpose say nothing of how long Orvel holds the main thread, nor of how
    /// old its last look is.
    void ignoreTimes() { timesCount = false; }

    /// To be told of every step that is about to happen, after the faults had their turn.
    void watch(const SimulatedStep& step);
    /// Orvel was started anew.
    void watchProcess();
    /// To be asked at the end of a run, after the faults have stopped.
    void finish();

    const std::vector<BrokenRule>& broken() const { return found; }
    bool isReceived() const;
    /// Whether the person may safely ask again. Of a delivery into ChatGPT.
    bool mayAskAgain() const;
    /// Of the command that the work was to type, if it was.
    bool isWorkedOff() const;
    bool mayHoldMessage() const { return destination->mayHoldMessage(); }

    // For the watch of the destination

    void fail(Rule rule, std::string detail) { found.push_back({rule, std::move(detail)}); }
    /// The text that is to be delivered.
    std::optional<std::string> payload() const;
    bool isNewConversation() const;
    /// Whether an earlier attempt has written the message.
    bool isWritten() const;
    int allowedPresses() const { return presses; }
    bool judgesTimes() const { return timesCount; }

  private:
    void judgeFailure(const RelaySendError& failure);
    void judgeOffer();
    void judgeLinks();
    void judgeBindings();
    void judgeFirstMessage(const std::string& text);
    bool isFirstMessage() const;
    bool isConsultation() const;
    void judgeConsultation();
    void noteFailures();
    void judgeSaved();
    void judgeMemory();
    void judgeReceipts();
    void judgeDiagnostics();
    void judgeRest();
    void judgeHolds();

    ExplorationDesk& desk;
    const Scenario& scenario;
    std::unique_ptr<DestinationWatch> destination;
    std::unique_ptr<CommandWatch> command; ///< Where one is typed.
    ChangeSignal::Subscription changes;
    int presses = 1;
    bool timesCount = true, wasOffered = false, isLinkCrowded = false;
    std::string noticed;                         ///< What failed commands were told with.
    std::set<std::string> toldAsFailed;          ///< In all words that Orvel used.
    std::map<std::string, std::string> bindings; ///< By first message.
    std::vector<BrokenRule> found;
};

} // namespace orvel::explore
