#include "OrvelCore/histories/ReturnDiagnosticHistory.h"

#include "OrvelCore/composers/DiagnosticSummary.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace orvel {

namespace {

using Event = ReturnDiagnosticHistory::Event;
using CommandAttempt = ReturnDiagnosticHistory::CommandAttempt;

constexpr std::int64_t keypadEnter = 76;

constexpr struct {
    int modifier;
    FixedWords name;
} modifierNames[] = {{ReturnModifiers::command, "Command+"},
                     {ReturnModifiers::shift, "Shift+"},
                     {ReturnModifiers::control, "Control+"},
                     {ReturnModifiers::option, "Option+"},
                     {ReturnModifiers::function, "Function+"}};

// In the order in which they happened.
std::vector<const CommandAttempt*> inOrder(const std::map<Agent, CommandAttempt>& attempts) {
    std::vector<const CommandAttempt*> ordered;
    ordered.reserve(attempts.size());
    for (const auto& [source, attempt] : attempts) ordered.push_back(&attempt);
    std::sort(ordered.begin(), ordered.end(),
              [](const auto* one, const auto* two) { return one->event.sequence < two->event.sequence; });
    return ordered;
}

DiagnosticText summaryOf(const CommandAttempt& attempt, const ClockStyle& clock) {
    const auto& event = attempt.event;
    return DiagnosticText::of("{} / {} / {}\n{}", DiagnosticText::timeOfDay(event.timestamp, clock),
                              event.source, event.keyDescription(), attempt.result.value_or(event.outcome));
}

DiagnosticText fullTextOf(const CommandAttempt& attempt, const ClockStyle& clock) {
    const auto& event = attempt.event;
    auto text = DiagnosticText::of("{} / {} / {}\n{}{}", DiagnosticText::timeOfDay(event.timestamp, clock),
                                   event.source, event.keyDescription(), event.outcome, attempt.details);
    if (attempt.result) text += DiagnosticText::of("\nAttempt result: {}", *attempt.result);
    if (attempt.resultDetails) text += DiagnosticText::of("\n{}", *attempt.resultDetails);
    return text;
}

DiagnosticText lineOf(const Event& event, const ClockStyle& clock) {
    return DiagnosticText::of("{} / {} / {} / Input={} / {}",
                              DiagnosticText::timeOfDay(event.timestamp, clock), event.source,
                              description(event.phase), DiagnosticSummary::input(event.input), event.outcome);
}

template <typename Items, typename TextOf>
DiagnosticText joined(const Items& items, TextOf textOf) {
    DiagnosticText lines;
    bool isFirst = true;
    for (const auto& item : items) {
        if (!std::exchange(isFirst, false)) lines += FixedWords("\n");
        lines += textOf(item);
    }
    return lines;
}

} // namespace

FixedWords description(ReturnEventPhase phase) {
    switch (phase) {
    case ReturnEventPhase::keyDown: return "keyDown";
    case ReturnEventPhase::keyRepeat: return "keyDown(repeat)";
    case ReturnEventPhase::keyUp: break;
    }
    return "keyUp";
}

DiagnosticText ReturnDiagnosticHistory::Event::keyDescription() const {
    DiagnosticText description;
    for (const auto& [modifier, name] : modifierNames)
        if (modifiers.contains(modifier)) description += name;
    description += keyCode == keypadEnter ? FixedWords("Keypad Enter") : FixedWords("Return");
    return description;
}

void ReturnDiagnosticHistory::append(Event event, const std::optional<DiagnosticText>& details) {
    event.outcome = event.outcome.shortened(maximumOutcomeLength);
    event.sequence = nextSequence++;
    if (event.phase == ReturnEventPhase::keyDown && event.input == ReturnInputClassification::command &&
        details)
        attempts[event.source] = {event, details->shortened(maximumDetailsLength), {}, {}};
    kept.push_back(std::move(event));
    if (kept.size() > capacity) kept.pop_front();
}

void ReturnDiagnosticHistory::finish(Agent source, const std::string& attemptID, const DiagnosticText& result,
                                     const std::optional<DiagnosticText>& details) {
    const auto found = attempts.find(source);
    if (found == attempts.end() || found->second.event.attemptID != attemptID) return;
    auto& attempt = found->second;
    attempt.result = result.shortened(maximumOutcomeLength);
    attempt.resultDetails = details ? std::optional(details->shortened(maximumDetailsLength)) : std::nullopt;
}

DiagnosticText ReturnDiagnosticHistory::commandSummary(const ClockStyle& clock) const {
    if (attempts.empty()) return FixedWords("No /orvel attempt yet.");
    return joined(inOrder(attempts), [&](const auto* attempt) { return summaryOf(*attempt, clock); });
}

DiagnosticText ReturnDiagnosticHistory::report(const ClockStyle& clock) const {
    if (kept.empty()) return FixedWords("No Return has been recorded yet.");
    const auto decisions =
        attempts.empty()
            ? DiagnosticText(FixedWords("No matching command syntax recorded"))
            : joined(inOrder(attempts), [&](const auto* attempt) { return fullTextOf(*attempt, clock); });
    const auto lines = joined(kept, [&](const auto& event) { return lineOf(event, clock); });
    return DiagnosticText::of(
        "Retained /orvel decisions (latest per app; preserved across later empty input):\n{}\n"
        "Return history (last {} entries, no content; discarded on quit):\n{}",
        decisions, kept.size(), lines);
}

} // namespace orvel
