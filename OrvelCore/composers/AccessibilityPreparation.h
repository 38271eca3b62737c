#pragma once
// Schedules when to ask an agent's application to expose its editor to Accessibility, and when to probe
// whether it does.

#include <cstdint>
#include <optional>

namespace orvel {

/// The preparation of one agent's application. Times are in seconds of uptime.
struct AccessibilityPreparation {
    enum class Action { request, wait, probe, none };

    static constexpr double probeDelay = 3.0; ///< In seconds, from a request to its probe.

    std::optional<std::int32_t> currentPID; ///< The process for which preparation was last requested.
    std::optional<std::int32_t> readyPID;   ///< The process whose editor is proven readable.
    std::optional<double> probeAfter;       ///< The earliest moment of the next probe.
    bool shouldRequest = false;             ///< The last probe failed.
    int attemptCount = 0;                   ///< Requests made for `currentPID`.

    /// What to do now for this process.
    Action action(std::int32_t pid, double now) const;

    /// Throws std::overflow_error if the requests can no longer be counted; then nothing changes.
    void recordRequest(std::int32_t pid, double now);

    /// Records the outcome of a probe, unless it is of another process than the current one.
    void recordProbe(std::int32_t pid, bool readable);

    /// Seconds until the next probe; 0 if none is due.
    double remainingWait(std::int32_t pid, double now) const;

    bool isReady(std::int32_t pid) const { return readyPID == pid; }
    bool isCurrent(std::int32_t pid) const { return currentPID == pid; }
};

} // namespace orvel
