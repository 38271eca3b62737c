#pragma once
// Judgement: what must hold in every run, whatever went wrong in it.

#include "explore/ExplorationDesk.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel::explore {

enum class Rule {
    writtenOnce,
    sentOnce,
    onlyIntoTheEmptyEditor,
    onlyTheMessageIsSent,
    nothingElseIsPressed,
    compositionSurvives,
    retryOnlyIfNothingInserted,
    savedFirst,
    memoryEqualsDisk,
    receivedOnlyIfThere,
    noTransferIsLost,
    comesToRest,
    diagnosticsHoldNoContent,
    mainThreadIsFree
};

struct RuleText {
    Rule rule;
    std::string_view name, sentence;
};

std::span<const RuleText> allRules();
std::string_view nameOf(Rule rule);

struct BrokenRule {
    Rule rule;
    std::string detail;
};

/// Watches one run.
class SafetyJudge {
  public:
    explicit SafetyJudge(ExplorationDesk& desk);

    /// The text that is to be delivered where no transfer holds it, into the page of a new conversation.
    void expectNewConversation(std::string payload);
    /// An earlier attempt has written the message.
    void expectNoWrite() { writes = 1; }
    /// The user lets Orvel press Send once more.
    void allowAnotherPress() { ++allowedPresses; }
    /// Calls that were made slow on purpose say nothing of how long Orvel holds the main thread.
    void ignoreHolds() { judgesHolds = false; }

    /// To be told of every step that is about to happen, after the faults had their turn.
    void watch(const SimulatedStep& step);
    /// Orvel was started anew.
    void watchProcess();
    /// To be asked at the end of a run, after the faults have stopped.
    void finish();

    const std::vector<BrokenRule>& broken() const { return found; }
    bool isReceived() const;
    bool wroteAnything() const { return writes > 0; }

  private:
    void fail(Rule rule, std::string detail) { found.push_back({rule, std::move(detail)}); }
    void judge(const SimulatedClaude::Deed& deed);
    void judgeWrite(const SimulatedClaude::Deed& deed);
    void judgePress(const SimulatedClaude::Deed& deed);
    void judgeFailure(const RelaySendError& failure);
    void judgeSaved();
    void judgeMemory();
    void judgeReceipts();
    void judgeDiagnostics();
    void judgeRest();
    void judgeHolds();
    std::optional<std::string> payload() const;

    ExplorationDesk& desk;
    std::string destination = ExplorationDesk::destination;
    std::optional<std::string> newPayload;
    int writes = 0, presses = 0, sends = 0, allowedPresses = 1;
    bool judgesHolds = true;
    MainLoop::Duration composingSince{-1};
    std::vector<BrokenRule> found;
};

} // namespace orvel::explore
