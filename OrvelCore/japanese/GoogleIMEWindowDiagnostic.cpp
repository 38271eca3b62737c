#include "OrvelCore/japanese/GoogleIMEWindowDiagnostic.h"

#include <algorithm>

namespace orvel::GoogleIMEWindowDiagnostic {

FixedWords description(State state) {
    switch (state) {
    case State::present: return "presence";
    case State::absent: return "absence";
    case State::unavailable: break;
    }
    return "unavailable";
}

State classify(std::optional<std::span<const std::optional<std::string>>> ownerNames) {
    if (!ownerNames || ownerNames->size() > maximumWindows) return State::unavailable;
    const auto begin = ownerNames->begin(), end = ownerNames->end();
    // One proof is enough, whatever else could not be read.
    if (std::find(begin, end, "GoogleJapaneseInputRenderer") != end) return State::present;
    return std::find(begin, end, std::nullopt) == end ? State::absent : State::unavailable;
}

DiagnosticText Sample::summary(double now) const {
    return DiagnosticText::of("state={}, age_ms={}, query_ms={}", description(state),
                              DiagnosticText::milliseconds(now - started),
                              DiagnosticText::milliseconds(duration));
}

} // namespace orvel::GoogleIMEWindowDiagnostic
