#pragma once
// Text for diagnostics, which people send to others. It can only be made of string literals, numbers and
// names from a list: a value read from an editor or a conversation can't get into it.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/diagnostics/FixedWords.h"
#include "OrvelCore/text/Date.h"

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace orvel {

class DiagnosticText;
struct InputSourceIdentity;

namespace DiagnosticSummary {
DiagnosticText inputSource(const std::optional<InputSourceIdentity>& source);
DiagnosticText observed(const std::optional<std::string>& fact);
} // namespace DiagnosticSummary

/// Integers, without the character types.
template <typename T>
concept DiagnosticNumber =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t> &&
    !std::same_as<T, signed char> && !std::same_as<T, unsigned char>;

/// A string literal with a “{}” for each part.
template <typename... Parts>
struct DiagnosticPattern {
    template <std::size_t size>
    consteval DiagnosticPattern(const char (&literal)[size]) : words(literal) {
        std::size_t places = 0;
        for (std::size_t at = 0; (at = words.view().find("{}", at)) != std::string_view::npos; at += 2)
            ++places;
        if (places != sizeof...(Parts)) throw std::logic_error("there is a “{}” for every part");
    }

    FixedWords words;
};

/// How to write a time of day.
struct ClockStyle {
    int secondsFromUTC = 0;
    bool isTwelveHour = false; ///< "2:03:22 PM", otherwise "14:03:22".
};

class DiagnosticText {
  public:
    DiagnosticText() = default;
    DiagnosticText(FixedWords words) : string(words.view()) {}
    template <std::same_as<bool> T>
    DiagnosticText(T truth) : string(truth ? "true" : "false") {}
    template <DiagnosticNumber T>
    DiagnosticText(T number) : string(std::to_string(number)) {}
    template <std::same_as<Agent> T>
    DiagnosticText(T agent) : string(label(agent)) {}

    /// Fills the parts into the pattern. Braces within the parts have no meaning.
    template <typename... Parts>
    static DiagnosticText of(std::type_identity_t<DiagnosticPattern<Parts...>> pattern,
                             const Parts&... parts) {
        return filled(pattern.words, {DiagnosticText(parts)...});
    }

    /// The name that equals `value`, or `otherwise` if there is none.
    static DiagnosticText oneOf(std::string_view value, std::span<const FixedWords> names,
                                FixedWords otherwise);

    /// A UUID in upper case, or "Unknown" if `value` is not a UUID.
    static DiagnosticText uuid(std::string_view value);

    /// A time in whole milliseconds, or "Unavailable" if it is not finite.
    static DiagnosticText milliseconds(double seconds);

    /// The time of day, without the date.
    static DiagnosticText timeOfDay(Date date, const ClockStyle& style);

    /// The moment as ISO 8601 writes it, in UTC.
    static DiagnosticText moment(Date date);

    DiagnosticText& operator+=(const DiagnosticText& more);

    /// The first `count` user-perceived characters.
    DiagnosticText shortened(std::size_t count) const;

    const std::string& text() const { return string; }

    bool operator==(const DiagnosticText&) const = default;

  private:
    friend DiagnosticText DiagnosticSummary::inputSource(const std::optional<InputSourceIdentity>& source);
    friend DiagnosticText DiagnosticSummary::observed(const std::optional<std::string>& fact);

    static DiagnosticText filled(FixedWords pattern, std::initializer_list<DiagnosticText> parts);

    // The only way in for a value from the system. Accepts only what looks like an identifier.
    static DiagnosticText systemIdentifier(const std::optional<std::string>& value);

    std::string string;
};

} // namespace orvel
