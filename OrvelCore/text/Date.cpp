#include "OrvelCore/text/Date.h"

#include <chrono>

namespace orvel {

namespace {

// Takes exactly so many digits off the front.
std::optional<int> takeNumber(std::string_view& text, std::size_t digits) {
    int number = 0;
    if (text.size() < digits) return std::nullopt;
    for (const char c : text.substr(0, digits)) {
        if (c < '0' || c > '9') return std::nullopt;
        number = number * 10 + (c - '0');
    }
    text.remove_prefix(digits);
    return number;
}

bool take(std::string_view& text, char expected) {
    if (text.empty() || text.front() != expected) return false;
    text.remove_prefix(1);
    return true;
}

// "10:00", in minutes.
std::optional<int> takeHoursAndMinutes(std::string_view& text) {
    const auto hours = takeNumber(text, 2);
    if (!hours || *hours > 23 || !take(text, ':')) return std::nullopt;
    const auto minutes = takeNumber(text, 2);
    if (!minutes || *minutes > 59) return std::nullopt;
    return *hours * 60 + *minutes;
}

// ".123"; none is zero.
double takeFraction(std::string_view& text) {
    double fraction = 0, place = 0.1;
    if (!take(text, '.')) return 0;
    while (const auto digit = takeNumber(text, 1)) {
        fraction += *digit * place;
        place /= 10;
    }
    return fraction;
}

// "Z", or "+09:00" in minutes.
std::optional<int> takeOffset(std::string_view& text) {
    if (take(text, 'Z')) return 0;
    const bool isWest = take(text, '-');
    if (!isWest && !take(text, '+')) return std::nullopt;
    const auto offset = takeHoursAndMinutes(text);
    if (!offset) return std::nullopt;
    return isWest ? -*offset : *offset;
}

} // namespace

std::optional<Date> dateFromText(std::string_view text) {
    const auto year = takeNumber(text, 4);
    if (!year || !take(text, '-')) return std::nullopt;
    const auto month = takeNumber(text, 2);
    if (!month || !take(text, '-')) return std::nullopt;
    const auto day = takeNumber(text, 2);
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(day.value_or(0)))};
    if (!date.ok() || !take(text, 'T')) return std::nullopt;
    const auto minutes = takeHoursAndMinutes(text);
    if (!minutes || !take(text, ':')) return std::nullopt;
    const auto seconds = takeNumber(text, 2);
    if (!seconds || *seconds > 60) return std::nullopt;
    const auto fraction = takeFraction(text);
    const auto offset = takeOffset(text);
    if (!offset || !text.empty()) return std::nullopt;
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    const auto wholeMinutes = static_cast<double>(days) * 24 * 60 + *minutes - *offset;
    return wholeMinutes * 60 + *seconds + fraction - referenceDateInUnixTime;
}

} // namespace orvel
