#pragma once
// What was seen of the input method while the user recorded it: changes of state, without content.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace orvel {

/// One look at the input method. Sources and roles are in the forms of DiagnosticSummary.
struct IMEObservation {
    /// What the focused element said; there is none while another application is in the foreground.
    struct Reading {
        DiagnosticText role;
        std::int32_t result = 0; ///< The system's result of asking for marked text; 0 is success.
        bool hasMarkedValue = false;

        bool operator==(const Reading&) const = default;
    };

    DiagnosticText source;
    std::optional<Reading> reading;

    bool operator==(const IMEObservation&) const = default;
};

class IMEObservationHistory {
  public:
    static constexpr std::size_t capacity = 32;

    /// Adds a line unless the state is the one of the line before. `elapsed` is seconds since recording
    /// began.
    void record(double elapsed, const IMEObservation& observation);

    /// The newest lines, one for each change of state.
    DiagnosticText report() const;

    std::size_t size() const { return entries.size(); }

  private:
    std::deque<DiagnosticText> entries;
    std::optional<IMEObservation> lastState;
};

} // namespace orvel
