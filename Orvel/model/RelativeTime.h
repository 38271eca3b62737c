#pragma once
// Dates as a list shows them: short, and relative to now.

#include "OrvelCore/text/Date.h"

#include <string>

namespace orvel {

/// "now", "5 min", "3 h", "yesterday", "Monday", "12 Mar" or "12 Mar 2025". `utcOffset` is that of the user's
/// time zone, in seconds; it decides where a day begins.
std::string relativeTime(Date date, Date now, long utcOffset);

/// The offset of the system's time zone from UTC at the date, in seconds.
long localUTCOffset(Date date);

} // namespace orvel
