#pragma once
// Dates as the data files hold them: seconds since 2001-01-01 00:00:00 UTC, as a double.

#include <ctime>

namespace orvel {

using Date = double;

/// 2001-01-01 00:00:00 UTC in seconds of the Unix epoch.
inline constexpr double referenceDateInUnixTime = 978'307'200;

inline Date dateFromUnixTime(const timespec& time) {
    return static_cast<double>(time.tv_sec) - referenceDateInUnixTime +
           static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace orvel
