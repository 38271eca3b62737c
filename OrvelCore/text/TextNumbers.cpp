#include "OrvelCore/text/TextNumbers.h"

#include <algorithm>
#include <functional>

namespace orvel {

TextNumbers::Number TextNumbers::numberOf(std::string_view text) {
    // A record mostly refers to the one before it.
    if (latest < texts.size() && texts[latest] == text) return latest;
    if (2 * texts.size() >= slots.size()) grow();
    auto& slot = slotOf(text);
    if (slot.number == none) {
        slot.number = static_cast<Number>(texts.size());
        auto* copy = static_cast<char*>(memory.allocate(text.size(), 1));
        std::copy(text.begin(), text.end(), copy);
        texts.emplace_back(copy, text.size());
    }
    latest = slot.number;
    return latest;
}

// The slot that holds the number of `text`, or the free one, marked, where it belongs.
TextNumbers::Slot& TextNumbers::slotOf(std::string_view text) {
    const std::uint64_t hash = std::hash<std::string_view>()(text);
    const auto mark = static_cast<std::uint32_t>(hash >> 32);
    for (std::size_t at = hash;; ++at) {
        auto& slot = slots[at & (slots.size() - 1)];
        if (slot.number == none) slot.mark = mark;
        if (slot.number == none || (slot.mark == mark && texts[slot.number] == text)) return slot;
    }
}

void TextNumbers::grow() {
    slots.assign(std::max<std::size_t>(64, 4 * slots.size()), {});
    for (Number number = 0; number < texts.size(); ++number) slotOf(texts[number]).number = number;
}

} // namespace orvel
