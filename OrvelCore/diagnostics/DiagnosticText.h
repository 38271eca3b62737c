#pragma once
// Text for diagnostics, which people send to others. It can be made of words of the source code, of numbers
// and of names on a list, and of nothing else: a value that was read from an editor or a conversation has no
// way into it.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/diagnostics/FixedWords.h"
#include "OrvelCore/text/Date.h"

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace orvel {

class DiagnosticText;
struct InputSourceIdentity;

namespace DiagnosticSummary {
DiagnosticText inputSource(const std::optional<InputSourceIdentity>& source);
}

/// Numbers; characters are none, although C++ takes them for such.
template <typename T>
concept DiagnosticNumber =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t> &&
    !std::same_as<T, signed char> && !std::same_as<T, unsigned char>;

/// Words with a “{}” for each part.
template <typename... Parts>
struct DiagnosticPattern {
    template <std::size_t size>
    consteval DiagnosticPattern(const char (&literal)[size]) : words(literal) {
        std::size_t places = 0;
        for (std::size_t at = 0; (at = words.view().find("{}", at)) != std::string_view::npos; at += 2)
            ++places;
        if (places != sizeof...(Parts)) throw "there is a “{}” for every part";
    }

    FixedWords words;
};

/// How times of the day are written.
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

    /// The pattern with its parts in their places. Braces within the parts mean nothing.
    template <typename... Parts>
    static DiagnosticText of(std::type_identity_t<DiagnosticPattern<Parts...>> pattern,
                             const Parts&... parts) {
        return filled(pattern.words, {DiagnosticText(parts)...});
    }

    /// That one of the names which equals `value`, or `otherwise`.
    static DiagnosticText oneOf(std::string_view value, std::span<const FixedWords> names,
                                FixedWords otherwise);

    /// A UUID in upper case, or "Unknown" if it is none.
    static DiagnosticText uuid(std::string_view value);

    /// A time in whole milliseconds, or "Unavailable" if it is no finite number.
    static DiagnosticText milliseconds(double seconds);

    /// The time of the day, without its date.
    static DiagnosticText timeOfDay(Date date, const ClockStyle& style);

    DiagnosticText& operator+=(const DiagnosticText& more);

    /// The first `count` user-perceived characters.
    DiagnosticText shortened(std::size_t count) const;

    const std::string& text() const { return string; }

    bool operator==(const DiagnosticText&) const = default;

  private:
    friend DiagnosticText DiagnosticSummary::inputSource(const std::optional<InputSourceIdentity>& source);

    static DiagnosticText filled(FixedWords pattern, std::initializer_list<DiagnosticText> parts);

    // The only way in for a value that the system gave. It passes if it looks like an identifier of the
    // system.
    static DiagnosticText systemIdentifier(const std::optional<std::string>& value);

    std::string string;
};

} // namespace orvel
