#pragma once
// Dates as the data files hold them: seconds since 2001-01-01 00:00:00 UTC, as a double.

#include <ctime>
#include <optional>
#include <string_view>

namespace orvel {

using Date = double;

/// 2001-01-01 00:00:00 UTC in seconds of the Unix epoch.
inline constexpr double referenceDateInUnixTime = 978'307'200;

inline Date dateFromUnixTime(const timespec& time) {
    return static_cast<double>(time.tv_sec) - referenceDateInUnixTime +
           static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The moment that an ISO 8601 text names, as in "2026-11-20T10:00:00.123Z" or with an offset, "+09:00".
/// Nothing for any other text.
std::optional<Date> dateFromText(std::string_view text);

} // namespace orvel
