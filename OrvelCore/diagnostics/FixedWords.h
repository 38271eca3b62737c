#pragma once
// Words that stand in the source code, as a type: whoever gets them knows that nothing was put into them at
// run time.

#include <cstddef>
#include <string_view>

namespace orvel {

class FixedWords {
  public:
    /// Takes literals only: reading the characters fails to compile for an array that could change.
    template <std::size_t size>
    consteval FixedWords(const char (&literal)[size]) : words(literal, size - 1) {
        for (const char c : words)
            if (c == '\0') throw "words hold no NUL";
    }

    constexpr operator std::string_view() const { return words; }
    constexpr std::string_view view() const { return words; }

    friend constexpr bool operator==(FixedWords, FixedWords) = default;

  private:
    std::string_view words;
};

} // namespace orvel
