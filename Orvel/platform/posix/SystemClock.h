#pragma once
// The two clocks of a POSIX system.

#include "OrvelCore/text/Date.h"

#include <chrono>

namespace orvel::SystemClock {

/// Time since some fixed moment; never jumps.
std::chrono::nanoseconds uptime();

/// The wall clock.
Date now();

} // namespace orvel::SystemClock
