#pragma once
// Work: what the user has Orvel do, and in what world.

#include "explore/ExplorationDesk.h"
#include "explore/SafetyJudge.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace orvel::explore {

/// What the person types.
inline constexpr auto typedCommand = "/orvel Go on with that.";

/// How a run ends if nothing goes wrong.
enum class Ending {
    received,
    refused,    ///< Nothing was touched but the foreground, and a retry is offered.
    stillAbsent ///< Neither received nor offered once more.
};

struct Scenario {
    std::string_view name;
    std::string_view about;
    /// Makes the world, before Orvel starts.
    void (*prepare)(ExplorationDesk& desk);
    /// What the user does in Orvel; faults happen meanwhile.
    void (*work)(OrvelProcess& orvel);
    Ending ending = Ending::received;
    /// What the user does when all has come to rest and the faults have stopped; may be null.
    void (*afterwards)(ExplorationDesk& desk, SafetyJudge& judge) = nullptr;
    std::string_view newConversation = {}; ///< The text for a new conversation, if one is to be made.
    bool onlyLooks = false;                ///< Nothing is written and nothing pressed.
    bool isWritten = false;                ///< The message was written before.
    Destination destination = claudeWindow;
    MainLoop::Duration watching{0}; ///< How long faults still happen after the work.
    std::uint64_t coarseness = 1;   ///< Sweeps go on by so many of their strides; runs are as rare.
    std::string_view says = {};     ///< Stands in what Orvel tells the person in the end.
    bool inChain = false;           ///< The message goes out in a link of three.
    bool isVariant = false;         ///< Of another scenario, which goes the same road.
    unsigned typedIn = 0;           ///< The editor in which a command is typed, if that is the work.

    bool isTyped() const { return typedIn != 0; }
    /// All that takes part: the destination and the editor.
    unsigned places() const { return destination | typedIn | (inChain ? linkOfThree : 0); }
};

std::span<const Scenario> allScenarios();
/// The one of that name, or null.
const Scenario* scenarioNamed(std::string_view name);

} // namespace orvel::explore
