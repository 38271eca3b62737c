#include "Orvel/consultation/BorrowedClipboard.h"

#include <utility>

namespace orvel {

namespace {

constexpr int maximumAttempts = 3; // A clipboard may refuse for a moment.

} // namespace

bool BorrowedClipboard::borrow(const PasteboardItem& item) {
    auto kept = PasteboardContents::of(pasteboard); // What can't be read completely could not be given back.
    if (!kept) return false;
    original = std::move(kept->items);
    pasteboard.clearContents();
    const bool isWritten = pasteboard.writeItems({item});
    owned = pasteboard.changeCount();
    return isWritten;
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
