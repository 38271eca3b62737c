#pragma once
// Whether the candidate window is among the windows on the screen, told by the names of their owners alone.

#include "OrvelCore/diagnostics/DiagnosticText.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace orvel::GoogleIMEWindowDiagnostic {

using State = GoogleIMEWindowPolicy::State;

/// A longer list of windows is not looked at.
inline constexpr std::size_t maximumWindows = 2048;
/// A list that took longer to get, in seconds, is not looked at.
inline constexpr double longestQuery = 0.25;

/// The word that diagnostics print.
FixedWords rawValue(State state);

/// The state that the owners' names show. No list: there was none to be had; no name: it could not be read.
State classify(std::optional<std::span<const std::optional<std::string>>> ownerNames);

struct Sample {
    State state = State::unavailable;
    double started = 0;  ///< Seconds of the system's uptime.
    double duration = 0; ///< Seconds.

    DiagnosticText summary(double now) const;
};

} // namespace orvel::GoogleIMEWindowDiagnostic
