#include "OrvelCore/histories/IMEObservationHistory.h"

namespace orvel {

namespace {

DiagnosticText described(const std::optional<IMEObservation::Focus>& focus) {
    if (!focus) return FixedWords("Another app is in the foreground (no AX read)");
    return DiagnosticText::of("{} / Marked result={} / Marked value={}", focus->role, focus->result,
                              focus->hasMarkedValue);
}

} // namespace

void IMEObservationHistory::record(double elapsed, const IMEObservation& observation) {
    if (lastState == observation) return;
    lastState = observation;
    entries.push_back(DiagnosticText::of("{}ms / {} / {}", DiagnosticText::milliseconds(elapsed),
                                         observation.source, described(observation.focus)));
    if (entries.size() > capacity) entries.pop_front();
}

DiagnosticText IMEObservationHistory::report() const {
    if (entries.empty()) return FixedWords("No input method state has been recorded yet.");
    DiagnosticText lines;
    for (const auto& entry : entries) {
        if (!lines.text().empty()) lines += FixedWords("\n");
        lines += entry;
    }
    return lines;
}

} // namespace orvel
