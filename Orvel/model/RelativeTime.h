#pragma once
// Dates as a list shows them: short, and relative to now.

#include "OrvelCore/text/Date.h"

#include <string>

namespace orvel {

/// "now", "5 min", "3 h", "yesterday", "Monday", "12 Mar" or "12 Mar 2025". `utcOffset` is that of the user's
/// time zone, in seconds; it decides where a day begins.
std::string relativeTime(Date date, Date now, long utcOffset);

/// "14:02" of the same day, "12 Mar 14:02" of the same year, else "12 Mar 2025". `utcOffset` gives the offset
/// of the user's time zone at a date, in seconds.
std::string timeOfMessage(Date date, Date now, long (*utcOffset)(Date));

/// The offset of the system's time zone from UTC at the date, in seconds.
long localUTCOffset(Date date);

} // namespace orvel
