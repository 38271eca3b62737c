#pragma once
// Numbers for texts, so that many of them can be told apart and refer to each other cheaply.

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace orvel {

/// Numbers distinct texts from 0, in the order in which they come. A transcript brings a new text with almost
/// every record, so the table is one flat piece of memory, and copies of the texts lie side by side: with the
/// standard library's table the reading of many small records took a quarter longer.
class TextNumbers {
  public:
    using Number = std::uint32_t;

    TextNumbers() = default;
    TextNumbers(const TextNumbers&) = delete;
    TextNumbers& operator=(const TextNumbers&) = delete;

    /// The number of `text`; the next one if it is new.
    Number numberOf(std::string_view text);

  private:
    static constexpr Number none = ~Number(0);

    // A place of the table, which is searched from a text's hash onwards to the first free place.
    struct Slot {
        std::uint32_t mark = 0; // The half of the hash that does not choose the place.
        Number number = none;
    };

    Slot& slotOf(std::string_view text);
    void grow();

    Number latest = none; // Found or given last.
    std::pmr::monotonic_buffer_resource memory;
    std::vector<std::string_view> texts; // By number; they lie in `memory`.
    std::vector<Slot> slots;             // Their count is a power of two; at most half of them are taken.
};

} // namespace orvel
