#pragma once
// The progress of the latest attempts to deliver into Claude, for the reports that users send: counts,
// identifiers and fixed words, no content.

#include "Orvel/desktop/Accessibility.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"
#include "OrvelCore/text/Date.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>

namespace orvel {

/// Lives as long as the process. Belongs to the main loop's thread.
class ClaudeRelayDiagnosticHistory {
  public:
    static constexpr std::size_t capacity = 8; ///< Of finished attempts.

    enum class Stage {
        launch,
        sourceRoute,
        sourceSnapshot,
        navigationOpen,
        navigationWait,
        targetSnapshot,
        targetRecheck,
        insertion,
        submission
    };

    struct Attempt {
        DiagnosticText transferID, attemptID;
        Date started = 0;
        Stage stage = Stage::launch;
        std::optional<bool> routeMatches;
        std::optional<std::size_t> pages, codePages, editors, parents;
        FixedWords front = "Unread";
        std::optional<DiagnosticText> axFailure;
        int readinessReads = 0;
        std::int64_t elapsedMilliseconds = 0;
        FixedWords outcome = "In progress";

        DiagnosticText line() const;
    };

    /// Begins an attempt, and discards one in progress. Both identifiers are UUIDs.
    void begin(std::string_view transferID, std::string_view attemptID, Date now);

    /// Moves the attempt in progress to this stage, and resets the counts of the last one.
    void stage(Stage stage);

    /// Records the status if it is a failure. A missing or unsupported value is none.
    void axFailure(std::string_view attribute, AXStatus status);

    /// Ends the attempt in progress.
    void finish(bool succeeded, bool retryable, Date now);

    /// The attempt in progress, to set the counts of its stage; null if there is none.
    Attempt* current() { return active ? &*active : nullptr; }

    /// Oldest first.
    const std::deque<Attempt>& finished() const { return completed; }

    /// All attempts, one a line.
    DiagnosticText description() const;

  private:
    std::deque<Attempt> completed;
    std::optional<Attempt> active;
};

} // namespace orvel
