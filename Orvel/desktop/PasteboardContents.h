#pragma once
// All that a clipboard holds, so that it can be given back.

#include "Orvel/desktop/Pasteboard.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace orvel {

struct PasteboardContents {
    /// What is kept at most; the bytes are those of all items together.
    struct Limits {
        std::size_t items = 32, typesOfItem = 64, bytes = 8'388'608;
    };

    std::vector<PasteboardItem> items;
    std::int64_t changeCount = 0;

    /// Nothing if not all of it can be read, if it is more than the limits, or if it changes meanwhile.
    static std::optional<PasteboardContents> of(Pasteboard& pasteboard, const Limits& limits);
    static std::optional<PasteboardContents> of(Pasteboard& pasteboard) { return of(pasteboard, Limits()); }
};

} // namespace orvel
