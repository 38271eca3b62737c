#include "Orvel/model/RelativeTime.h"

#include <array>
#include <cmath>
#include <ctime>

#include <fmt/format.h>

namespace orvel {

namespace {

constexpr std::array weekdays{"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::time_t unixTime(Date date) {
    return static_cast<std::time_t>(std::floor(date + referenceDateInUnixTime));
}

} // namespace

std::string relativeTime(Date date, Date now, long utcOffset) {
    constexpr std::time_t minute = 60, hour = 60 * minute, day = 24 * hour;
    const auto then = unixTime(date), present = unixTime(now);
    const auto age = present - then;
    if (age < minute) return "now";
    if (age < hour) return fmt::format("{} min", age / minute);

    const auto localThen = then + utcOffset;
    const auto days = (present + utcOffset) / day - localThen / day;
    if (days == 0) return fmt::format("{} h", age / hour);
    if (days == 1) return "yesterday";
    std::tm local{}, today{};
    const auto localPresent = present + utcOffset;
    gmtime_r(&localThen, &local);
    gmtime_r(&localPresent, &today);
    if (days < 7) return weekdays[static_cast<std::size_t>(local.tm_wday)];
    const auto dayAndMonth =
        fmt::format("{} {}", local.tm_mday, months[static_cast<std::size_t>(local.tm_mon)]);
    return local.tm_year == today.tm_year ? dayAndMonth
                                          : fmt::format("{} {}", dayAndMonth, local.tm_year + 1900);
}

std::string timeOfMessage(Date date, Date now, long (*utcOffset)(Date)) {
    const auto local = [&](Date moment) {
        const auto time = unixTime(moment) + utcOffset(moment);
        std::tm fields{};
        gmtime_r(&time, &fields);
        return fields;
    };
    const auto then = local(date), today = local(now);
    const auto clock = fmt::format("{:02}:{:02}", then.tm_hour, then.tm_min);
    if (then.tm_year == today.tm_year && then.tm_yday == today.tm_yday) return clock;
    const auto day = fmt::format("{} {}", then.tm_mday, months[static_cast<std::size_t>(then.tm_mon)]);
    return then.tm_year == today.tm_year ? fmt::format("{} {}", day, clock)
                                         : fmt::format("{} {}", day, then.tm_year + 1900);
}

long localUTCOffset(Date date) {
    const auto time = unixTime(date);
    std::tm local{};
    return localtime_r(&time, &local) ? local.tm_gmtoff : 0;
}

} // namespace orvel
