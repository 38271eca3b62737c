#pragma once
// The clipboard for as long as another program is to paste something from it.

#include "Orvel/desktop/PasteboardContents.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace orvel {

/// Keeps what the clipboard holds, holds an item in its place, and gives it back in the end, unless somebody
/// else has written there meanwhile. Belongs to the main loop's thread; the port outlives it.
class BorrowedClipboard {
  public:
    explicit BorrowedClipboard(Pasteboard& pasteboard) : pasteboard(pasteboard) {}
    BorrowedClipboard(const BorrowedClipboard&) = delete;
    BorrowedClipboard& operator=(const BorrowedClipboard&) = delete;
    ~BorrowedClipboard() { giveBack(); }

    /// False, and nothing was changed, if what the clipboard holds can't be kept; also false if the system
    /// refuses the item.
    [[nodiscard]] bool borrow(const PasteboardItem& item);

    /// Whether nobody has written there since.
    bool isOwned() const { return owned && *owned == pasteboard.changeCount(); }

    /// To be called once nobody pastes the item any more.
    void giveBack();

  private:
    Pasteboard& pasteboard;
    std::vector<PasteboardItem> original;
    std::optional<std::int64_t> owned; ///< The change that put the item there.
};

} // namespace orvel
