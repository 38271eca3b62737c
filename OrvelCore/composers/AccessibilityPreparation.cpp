#include "OrvelCore/composers/AccessibilityPreparation.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace orvel {

AccessibilityPreparation::Action AccessibilityPreparation::action(std::int32_t pid, double now) const {
    if (!isCurrent(pid)) return Action::request;
    if (isReady(pid)) return Action::none;
    if (shouldRequest) return Action::request;
    if (probeAfter.value_or(std::numeric_limits<double>::infinity()) <= now) return Action::probe;
    return Action::wait;
}

void AccessibilityPreparation::recordRequest(std::int32_t pid, double now) {
    const int attemptsBefore = isCurrent(pid) ? attemptCount : 0;
    if (attemptsBefore == std::numeric_limits<int>::max())
        throw std::overflow_error("too many requests for Accessibility");
    attemptCount = attemptsBefore + 1;
    currentPID = pid;
    readyPID.reset();
    probeAfter = now + probeDelay;
    shouldRequest = false;
}

void AccessibilityPreparation::recordProbe(std::int32_t pid, bool readable) {
    if (!isCurrent(pid)) return;
    readyPID = readable ? std::optional(pid) : std::nullopt;
    shouldRequest = !readable;
}

double AccessibilityPreparation::remainingWait(std::int32_t pid, double now) const {
    if (!isCurrent(pid) || shouldRequest || readyPID) return 0;
    return std::max(0.0, probeAfter.value_or(now) - now);
}

} // namespace orvel
