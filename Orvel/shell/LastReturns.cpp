#include "Orvel/shell/LastReturns.h"

#include "OrvelCore/histories/ReturnDiagnosticHistory.h"

#include <string_view>
#include <utility>

namespace orvel {

namespace {

// The agent is told beside it.
std::string withoutAgent(std::string outcome, Agent agent) {
    for (const std::string_view separator : {" / ", " "}) {
        const auto name = std::string(label(agent)).append(separator);
        if (outcome.starts_with(name)) return outcome.substr(name.size());
    }
    return outcome;
}

std::string outcomeOf(const ReturnDiagnosticHistory::Event& event, const ReturnDiagnosticHistory& history) {
    const auto attempt = history.commandAttempts().find(event.source);
    const bool isResultKnown = attempt != history.commandAttempts().end() && attempt->second.result &&
                               attempt->second.event.attemptID == event.attemptID;
    return withoutAgent(isResultKnown ? attempt->second.result->text() : event.outcome.text(), event.source);
}

} // namespace

std::vector<LastReturn> lastReturns(const ReturnDiagnosticHistory& history, const ClockStyle& clock,
                                    std::size_t most) {
    std::vector<LastReturn> last;
    const auto& events = history.events();
    for (auto event = events.rbegin(); event != events.rend() && last.size() < most; ++event) {
        if (event->phase != ReturnEventPhase::keyDown) continue;
        last.push_back({DiagnosticText::timeOfDay(event->timestamp, clock).text(), event->source,
                        event->input == ReturnInputClassification::command, outcomeOf(*event, history)});
    }
    return last;
}

} // namespace orvel
