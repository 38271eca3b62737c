#include "Orvel/shell/LastReturns.h"

#include "OrvelCore/histories/ReturnDiagnosticHistory.h"

namespace orvel {

namespace {

std::string outcomeOf(const ReturnDiagnosticHistory::Event& event, const ReturnDiagnosticHistory& history) {
    const auto attempt = history.commandAttempts().find(event.source);
    const bool isResultKnown = attempt != history.commandAttempts().end() && attempt->second.result &&
                               attempt->second.event.attemptID == event.attemptID;
    return isResultKnown ? attempt->second.result->text() : event.outcome.text();
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
