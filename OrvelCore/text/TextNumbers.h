#pragma once
// Numbers for texts, so that many of them can be told apart and refer to each other cheaply.

#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <unordered_map>

namespace orvel {

/// Numbers distinct texts from 0, in the order in which they come. A transcript brings a new text with almost every
/// record, so they lie side by side in one piece of memory, which goes as a whole.
class TextNumbers {
  public:
    using Number = std::uint32_t;

    TextNumbers() = default;
    TextNumbers(const TextNumbers&) = delete;
    TextNumbers& operator=(const TextNumbers&) = delete;

    /// The number of `text`; the next one if it is new.
    Number numberOf(std::string_view text) {
        const auto known = numbers.find(text);
        if (known != numbers.end()) return known->second;
        const auto number = static_cast<Number>(numbers.size());
        auto* copy = static_cast<char*>(memory.allocate(text.size(), 1));
        text.copy(copy, text.size());
        numbers.emplace(std::string_view(copy, text.size()), number);
        return number;
    }

  private:
    std::pmr::monotonic_buffer_resource memory;
    std::pmr::unordered_map<std::string_view, Number> numbers{&memory}; // Its keys lie in `memory`.
};

} // namespace orvel
