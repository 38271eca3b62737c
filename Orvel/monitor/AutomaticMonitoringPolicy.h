#pragma once
// When monitoring starts by itself: once for each state of the permissions, and never while it is paused.

#include <optional>

namespace orvel {

struct AutomaticMonitoringPolicy {
    struct Permissions {
        bool accessibility = false, inputMonitoring = false;

        bool operator==(const Permissions&) const = default;
    };

    std::optional<Permissions> attemptedPermissions; ///< With which the last start was tried.
    bool isPaused = false;

    /// Whether to start monitoring now, where it doesn't run; counts as an attempt if so.
    bool beginsAttempt(const Permissions& current) {
        if (!current.accessibility) attemptedPermissions.reset();
        if (!current.accessibility || isPaused || attemptedPermissions == current) return false;
        attemptedPermissions = current;
        return true;
    }
};

} // namespace orvel
