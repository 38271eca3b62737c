#pragma once
// When an agent's application is asked to show its editor to Accessibility, and when it is tried whether it
// does.

#include <cstdint>
#include <optional>

namespace orvel {

/// One agent's preparation. Times are seconds of system uptime.
struct AccessibilityPreparation {
    enum class Action { request, wait, probe, none };

    static constexpr double probeDelay = 3.0; ///< From a request to its probe.

    std::optional<std::int32_t> currentPID; ///< The process for which preparation was last requested.
    std::optional<std::int32_t> readyPID;   ///< The process whose editor was proved readable.
    std::optional<double> probeAfter;       ///< The earliest moment of the next probe.
    bool shouldRequest = false;             ///< The last probe failed.
    int attemptCount = 0;                   ///< Requests made for `currentPID`.

    /// What is due now for this process.
    Action action(std::int32_t pid, double now) const;

    /// Throws std::overflow_error if the requests can no longer be counted; nothing has changed then.
    void recordRequest(std::int32_t pid, double now);

    /// The outcome of a probe; one of another process than the current is ignored.
    void recordProbe(std::int32_t pid, bool readable);

    /// Seconds until the probe; 0 if none is being waited for.
    double remainingWait(std::int32_t pid, double now) const;

    bool isReady(std::int32_t pid) const { return readyPID == pid; }
    bool isCurrent(std::int32_t pid) const { return currentPID == pid; }
};

} // namespace orvel
