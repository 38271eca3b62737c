#include "OrvelCore/diagnostics/DiagnosticText.h"

#include "OrvelCore/text/UUID.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace orvel {

namespace {

constexpr std::size_t maximumIdentifierSize = 200; // In bytes.

bool isIdentifierCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
}

std::string twoDigits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

} // namespace

DiagnosticText DiagnosticText::filled(FixedWords pattern, std::initializer_list<DiagnosticText> parts) {
    DiagnosticText result;
    auto rest = pattern.view();
    for (const auto& part : parts) {
        const auto place = rest.find("{}");
        result.string.append(rest.substr(0, place)).append(part.string);
        rest.remove_prefix(place + 2);
    }
    result.string.append(rest);
    return result;
}

DiagnosticText DiagnosticText::oneOf(std::string_view value, std::span<const FixedWords> names,
                                     FixedWords otherwise) {
    const auto name =
        std::find_if(names.begin(), names.end(), [&](const auto& known) { return known.view() == value; });
    return name == names.end() ? otherwise : *name;
}

DiagnosticText DiagnosticText::uuid(std::string_view value) {
    if (!isUUID(value)) return FixedWords("Unknown");
    DiagnosticText result;
    for (const char c : value) result.string += c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    return result;
}

DiagnosticText DiagnosticText::milliseconds(double seconds) {
    constexpr double maximumSeconds = 1e12; // More is no time.
    if (!(std::abs(seconds) <= maximumSeconds)) return FixedWords("Unavailable");
    return std::llround(seconds * 1000);
}

DiagnosticText DiagnosticText::timeOfDay(Date date, const ClockStyle& style) {
    constexpr std::int64_t day = 86'400;
    constexpr double maximumSeconds = 1e12; // Before or after 2001; more is no date.
    if (!(std::abs(date) <= maximumSeconds)) return FixedWords("Unavailable");
    // The reference date is a midnight.
    const auto seconds = static_cast<std::int64_t>(std::floor(date)) + style.secondsFromUTC;
    const auto ofDay = ((seconds % day) + day) % day;
    const auto hour = ofDay / 3600;
    const auto rest = ":" + twoDigits(ofDay / 60 % 60) + ":" + twoDigits(ofDay % 60);
    DiagnosticText result;
    if (style.isTwelveHour)
        result.string = std::to_string((hour + 11) % 12 + 1) + rest + (hour < 12 ? " AM" : " PM");
    else
        result.string = twoDigits(hour) + rest;
    return result;
}

DiagnosticText DiagnosticText::moment(Date date) {
    constexpr double maximumSeconds = 1e10; // Before or after 2001; some centuries.
    if (!(std::abs(date) <= maximumSeconds)) return FixedWords("Unavailable");
    using namespace std::chrono;
    const sys_seconds second{seconds(static_cast<std::int64_t>(std::floor(date + referenceDateInUnixTime)))};
    const year_month_day day(floor<days>(second));
    DiagnosticText result;
    result.string = std::to_string(static_cast<int>(day.year())) + "-" +
                    twoDigits(static_cast<unsigned>(day.month())) + "-" +
                    twoDigits(static_cast<unsigned>(day.day())) + "T";
    result += timeOfDay(date, {});
    result.string += "Z";
    return result;
}

DiagnosticText& DiagnosticText::operator+=(const DiagnosticText& more) {
    string += more.string;
    return *this;
}

DiagnosticText DiagnosticText::shortened(std::size_t count) const {
    DiagnosticText result;
    result.string = firstCharacters(string, count);
    return result;
}

DiagnosticText DiagnosticText::systemIdentifier(const std::optional<std::string>& value) {
    if (!value) return FixedWords("None");
    if (value->size() > maximumIdentifierSize ||
        !std::all_of(value->begin(), value->end(), isIdentifierCharacter))
        return FixedWords("Nonstandard format");
    DiagnosticText result;
    result.string = *value;
    return result;
}

} // namespace orvel
