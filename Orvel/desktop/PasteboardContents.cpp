#include "Orvel/desktop/PasteboardContents.h"

#include <string>
#include <utility>

namespace orvel {

std::optional<PasteboardContents> PasteboardContents::of(Pasteboard& pasteboard, const Limits& limits) {
    PasteboardContents kept{.items = {}, .changeCount = pasteboard.changeCount()};
    const auto count = pasteboard.itemCount();
    if (!count || *count > limits.items || (*count == 0 && !pasteboard.types().empty())) return std::nullopt;
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < *count; ++i) {
        const auto types = pasteboard.typesOf(i);
        if (types.empty() || types.size() > limits.typesOfItem)
            return std::nullopt; // None may be unreadable.
        auto& item = kept.items.emplace_back();
        for (const auto& type : types) {
            auto data = pasteboard.data(i, type);
            if (!data || data->size() > limits.bytes - bytes) return std::nullopt;
            bytes += data->size();
            item[type] = std::move(*data);
        }
    }
    return pasteboard.changeCount() == kept.changeCount ? std::optional(std::move(kept)) : std::nullopt;
}

} // namespace orvel
