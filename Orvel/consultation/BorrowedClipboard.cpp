#include "Orvel/consultation/BorrowedClipboard.h"

#include <string>
#include <utility>

namespace orvel {

namespace {

constexpr int maximumAttempts = 3; // A clipboard may refuse for a moment.

} // namespace

bool BorrowedClipboard::borrow(const PasteboardItem& item) {
    if (!keepOriginal()) return false;
    pasteboard.clearContents();
    const bool isWritten = pasteboard.writeItems({item});
    owned = pasteboard.changeCount();
    return isWritten;
}

// What can't be read completely could not be given back.
bool BorrowedClipboard::keepOriginal() {
    const auto before = pasteboard.changeCount();
    const auto count = pasteboard.itemCount();
    if (!count || *count > maximumItems || (*count == 0 && !pasteboard.types().empty())) return false;
    std::vector<PasteboardItem> items;
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < *count; ++i) {
        const auto types = pasteboard.typesOf(i);
        if (types.empty() || types.size() > maximumTypesOfItem) return false;
        auto& kept = items.emplace_back();
        for (const auto& type : types) {
            auto data = pasteboard.data(i, type);
            if (!data || data->size() > maximumBytes - bytes) return false;
            bytes += data->size();
            kept[type] = std::move(*data);
        }
    }
    if (pasteboard.changeCount() != before) return false;
    original = std::move(items);
    return true;
}

void BorrowedClipboard::giveBack() {
    const bool isStillOurs = isOwned();
    owned.reset();
    if (!isStillOurs) return;
    for (int attempt = 1; attempt <= maximumAttempts; ++attempt) {
        pasteboard.clearContents();
        if (original.empty() || pasteboard.writeItems(original)) return;
    }
}

} // namespace orvel
