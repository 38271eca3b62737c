#include "Orvel/platform/posix/SystemClock.h"

namespace orvel::SystemClock {

std::chrono::nanoseconds uptime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

Date now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return dateFromUnixTime(time);
}

} // namespace orvel::SystemClock
