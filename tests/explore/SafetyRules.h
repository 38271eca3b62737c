#pragma once
// What must hold in every run, whatever went wrong in it.

#include <span>
#include <string>
#include <string_view>

namespace orvel::explore {

enum class Rule {
    writtenOnce,
    sentOnce,
    onlyIntoTheEmptyEditor,
    onlyTheMessageIsSent,
    onlyWhatWasProved,
    nothingIsSweptAlong,
    lastLookIsFresh,
    nothingElseIsPressed,
    compositionSurvives,
    retryOnlyIfNothingInserted,
    savedFirst,
    memoryEqualsDisk,
    recordsAreSound,
    receivedOnlyIfThere,
    receivedIsNotFailed,
    noTransferIsLost,
    oneInALink,
    boundOnceToANewOne,
    comesToRest,
    noChildRemains,
    protocolIsKept,
    diagnosticsHoldNoContent,
    mainThreadIsFree,
    keysPass,
    otherKeysPass,
    commandIsNoMessage,
    onlyTheCommandIsErased,
    clipboardIsGivenBack,
    instructionsAreKept,
    sentOnlyWhereProved,
    neverAnotherConversation,
    questionWrittenOnce,
    sendPressedOnce,
    nothingUnproved,
    zipIsThePrepared,
    traceHoldsNothing,
    restsWithinBounds,
    endsAsItShould
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

} // namespace orvel::explore
