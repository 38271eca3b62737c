#pragma once
// Tells whether the candidate window is on the screen, by the names of the windows' owners alone.

#include "OrvelCore/diagnostics/DiagnosticText.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace orvel::GoogleIMEWindowDiagnostic {

using State = GoogleIMEWindowPolicy::State;

/// A longer list of windows is not examined.
inline constexpr std::size_t maximumWindows = 2048;
/// In seconds. A list that took longer to obtain is not examined.
inline constexpr double queryTimeout = 0.25;

/// The word for diagnostics.
FixedWords description(State state);

/// The state shown by the names of the windows' owners. A list or a name that could not be read is absent.
State classify(std::optional<std::span<const std::optional<std::string>>> ownerNames);

struct Sample {
    State state = State::unavailable;
    double started = 0;  ///< Seconds of the system's uptime.
    double duration = 0; ///< Seconds.

    DiagnosticText summary(double now) const;
};

} // namespace orvel::GoogleIMEWindowDiagnostic
