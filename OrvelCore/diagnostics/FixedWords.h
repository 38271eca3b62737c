#pragma once
// A string literal as a type: guarantees that nothing was put into the text at run time.

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace orvel {

class FixedWords {
  public:
    /// Takes literals only: reading a mutable array at compile time doesn't compile.
    template <std::size_t size>
    consteval FixedWords(const char (&literal)[size]) : words(literal, size - 1) {
        for (const char c : words)
            if (c == '\0') throw std::logic_error("words hold no NUL");
    }

    constexpr operator std::string_view() const { return words; }
    constexpr std::string_view view() const { return words; }

    friend constexpr bool operator==(FixedWords, FixedWords) = default;

  private:
    std::string_view words;
};

} // namespace orvel
