#include "Orvel/model/BusyWords.h"

#include <fmt/format.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

// A command that the agent waits for may well run so long without a word.
constexpr std::chrono::seconds believable = 10min;

std::string words(std::chrono::seconds silence) {
    const auto hours = silence / 1h;
    if (hours >= 48) return fmt::format("{} days", hours / 24);
    return hours >= 1 ? fmt::format("{} h", hours) : fmt::format("{} min", silence / 1min);
}

} // namespace

std::optional<std::string> wordsForBusy(Agent agent, const AgentActivity& activity) {
    const auto name = label(agent);
    if (activity.processIsGone)
        return fmt::format("{0} ended in the middle of a turn: no running {0} holds this conversation. The "
                           "next turn that ends in {0} itself ends the waiting.",
                           name);
    if (!activity.silence || *activity.silence < believable) return std::nullopt;
    return fmt::format(
        "{0} has written nothing here for {1}, and its last turn has no end. If it runs no more, "
        "the next turn that ends in {0} itself ends the waiting.",
        name, words(*activity.silence));
}

} // namespace orvel
