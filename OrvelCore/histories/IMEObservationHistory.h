#pragma once
// Changes in the input method's state while the user records them, without content.

#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace orvel {

/// The state of the input method at one moment. Sources and roles are written by DiagnosticSummary.
struct IMEObservation {
    /// What the focused element reported.
    struct Focus {
        DiagnosticText role;
        std::int32_t result = 0; ///< The status of reading the marked text; 0 is success.
        bool hasMarkedValue = false;

        bool operator==(const Focus&) const = default;
    };

    DiagnosticText source;
    std::optional<Focus> focus; ///< Absent while another application is in the foreground.

    bool operator==(const IMEObservation&) const = default;
};

class IMEObservationHistory {
  public:
    static constexpr std::size_t capacity = 32;

    /// Adds a line if the state has changed. `elapsed` is in seconds since recording began.
    void record(double elapsed, const IMEObservation& observation);

    /// The newest lines, one per change of state.
    DiagnosticText report() const;

    std::size_t size() const { return entries.size(); }

  private:
    std::deque<DiagnosticText> entries;
    std::optional<IMEObservation> lastState;
};

} // namespace orvel
