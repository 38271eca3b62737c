#include "OrvelCore/text/TextNumbers.h"

#include <algorithm>

namespace orvel {

void TextNumberTable::grow() {
    std::vector<Slot> larger(std::max<std::size_t>(64, 2 * slots.size()));
    for (const auto& slot : slots) {
        if (slot.number == none) continue;
        std::size_t at = slot.mark & (larger.size() - 1);
        while (larger[at].number != none) at = (at + 1) & (larger.size() - 1);
        larger[at] = slot;
    }
    slots = std::move(larger);
}

TextNumbers::Number TextNumbers::numberOf(std::string_view text) {
    // A record mostly refers to the one before it.
    if (latest < texts.size() && texts[latest] == text) return latest;
    latest = table.numberOf(text, texts.size(), [&](Number number) { return texts[number] == text; });
    if (latest == texts.size()) {
        auto* copy = static_cast<char*>(memory.allocate(text.size(), 1));
        std::copy(text.begin(), text.end(), copy);
        texts.emplace_back(copy, text.size());
    }
    return latest;
}

} // namespace orvel
