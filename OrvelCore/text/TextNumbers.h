#pragma once
// Numbers for texts, so that many of them can be told apart and refer to each other cheaply.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace orvel {

/// Finds numbers by their texts, which lie with whoever gives the numbers. A transcript brings a new text
/// with almost every record, so the table is one flat piece of memory: with the standard library's the
/// reading of many small records took a quarter longer.
class TextNumberTable {
  public:
    using Number = std::uint32_t;

    /// The number of `text`, which is `next` if it is new: the count of texts so far. `standsFor` says
    /// whether a number is that of `text`.
    template <typename StandsFor>
    Number numberOf(std::string_view text, std::size_t next, StandsFor standsFor) {
        if (2 * next >= slots.size()) grow();
        const auto mark = static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
        for (std::size_t at = mark;; ++at) {
            auto& slot = slots[at & (slots.size() - 1)];
            if (slot.number == none) slot = {mark, static_cast<Number>(next)};
            if (slot.number == next || (slot.mark == mark && standsFor(slot.number))) return slot.number;
        }
    }

  private:
    static constexpr Number none = ~Number(0);

    // A place of the table, which is searched from the mark's place onwards to the first free one.
    struct Slot {
        std::uint32_t mark = 0; // Half of the text's hash.
        Number number = none;
    };

    void grow();

    std::vector<Slot> slots; // Their count is a power of two; at most half of them are taken.
};

/// Numbers distinct texts from 0, in the order in which they come, and keeps copies of them side by side.
class TextNumbers {
  public:
    using Number = TextNumberTable::Number;

    TextNumbers() = default;
    TextNumbers(const TextNumbers&) = delete;
    TextNumbers& operator=(const TextNumbers&) = delete;

    /// The number of `text`; the next one if it is new.
    Number numberOf(std::string_view text);

  private:
    Number latest = 0; // Found or given last.
    std::pmr::monotonic_buffer_resource memory;
    std::vector<std::string_view> texts; // By number; they lie in `memory`.
    TextNumberTable table;
};

} // namespace orvel
