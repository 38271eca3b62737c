#include "Orvel/monitor/ConversationClipboardCapture.h"

#include "OrvelCore/addresses/CodexDeepLink.h"

#include <algorithm>
#include <utility>

namespace orvel {

namespace {

using Case = ConversationClipboardCapture::Failure::Case;

std::string_view nameOf(Case kind) {
    switch (kind) {
    case Case::snapshotFailed: return "snapshotFailed";
    case Case::wrongShape: return "wrongShape";
    case Case::changed: break;
    }
    return "changed";
}

} // namespace

FixedWords description(Case kind) {
    switch (kind) {
    case Case::snapshotFailed: return "Couldn't save the original clipboard. Stopped.";
    case Case::wrongShape: return "Couldn't verify the copy result format. Stopped.";
    case Case::changed: break;
    }
    return "The clipboard changed in another operation. Stopped.";
}

ConversationClipboardCapture::Failure::Failure(Case kind)
    : orvel::Failure({nameOf(kind), description(kind)}), which(kind) {}

ConversationClipboardCapture::ConversationClipboardCapture(Pasteboard& pasteboard,
                                                           ConversationClipboardCapture* earlier)
    : pasteboard(pasteboard) {
    saveOriginal();
    // If that was the earlier capture's copy, which may have arrived just now, it keeps what was there
    // before.
    if (earlier && !takeOver(*earlier)) unclaimedCopies = std::exchange(earlier->unclaimedCopies, 0);
}

ConversationClipboardCapture::~ConversationClipboardCapture() {
    if (ownsContents()) giveBack();
}

void ConversationClipboardCapture::saveOriginal() {
    auto kept = PasteboardContents::of(pasteboard);
    if (!kept) throw Failure(Case::snapshotFailed);
    original = std::move(kept->items);
    expectedChangeCount = kept->changeCount;
}

bool ConversationClipboardCapture::takeOver(ConversationClipboardCapture& earlier) {
    earlier.claimLateCopy();
    if (!earlier.ownsContents()) return false;
    original = std::exchange(earlier.original, {});
    ownedChangeCount = std::exchange(earlier.ownedChangeCount, std::nullopt);
    expectedChangeCount = *ownedChangeCount;
    unclaimedCopies = std::exchange(earlier.unclaimedCopies, 0);
    return true;
}

bool ConversationClipboardCapture::ownsContents() {
    return ownedChangeCount && *ownedChangeCount == pasteboard.changeCount();
}

// Nothing if the clipboard holds anything but one short text.
std::optional<std::string> ConversationClipboardCapture::onlyText() {
    if (pasteboard.itemCount() != 1) return std::nullopt;
    const auto types = pasteboard.typesOf(0);
    for (const auto wanted : {PasteboardType::string, PasteboardType::url}) {
        const auto type = std::find(types.begin(), types.end(), wanted);
        if (type == types.end()) continue;
        auto text = pasteboard.data(0, *type);
        if (text) return text->size() <= maximumTextBytes ? std::move(text) : std::nullopt;
    }
    return std::nullopt;
}

void ConversationClipboardCapture::claim(std::int64_t changeCount) {
    ownedChangeCount = expectedChangeCount = changeCount;
    --unclaimedCopies;
    const auto kept = std::exchange(newer, std::nullopt);
    if (kept && kept->changeCount != changeCount) original = kept->items;
}

// A link that stands there although nobody has looked for it since it was asked for. What else stands there
// is newer than what was kept, and the link will take its place.
void ConversationClipboardCapture::claimLateCopy() {
    const auto changeCount = pasteboard.changeCount();
    if (unclaimedCopies == 0 || changeCount == expectedChangeCount) return;
    const auto text = onlyText();
    const bool isLink = text && CodexDeepLink::threadID(*text);
    if (isLink && pasteboard.changeCount() == changeCount) return claim(changeCount);
    if (isLink || (newer && newer->changeCount == changeCount)) return;
    auto kept = PasteboardContents::of(pasteboard);
    if (kept && !kept->items.empty()) newer = std::move(kept);
}

void ConversationClipboardCapture::expectCopy() {
    if (pasteboard.changeCount() != expectedChangeCount) throw Failure(Case::changed);
    ++unclaimedCopies;
}

std::optional<std::string> ConversationClipboardCapture::freshText() {
    const auto changeCount = pasteboard.changeCount();
    if (changeCount == expectedChangeCount) return std::nullopt;
    if (unclaimedCopies == 0) throw Failure(Case::changed);
    auto text = onlyText();
    if (pasteboard.changeCount() != changeCount) throw Failure(Case::changed);
    if (!text) throw Failure(Case::wrongShape);
    if (CodexDeepLink::threadID(*text))
        claim(changeCount);
    else if (!text->starts_with("codex://"))
        throw Failure(Case::changed);
    return text;
}

bool ConversationClipboardCapture::restoreIfOwned() {
    claimLateCopy();
    return ownsContents() && giveBack();
}

bool ConversationClipboardCapture::giveBack() {
    const auto isEmpty = [this] { return pasteboard.itemCount() == 0; };
    pasteboard.clearContents();
    const bool isRestored = original.empty() ? isEmpty() : pasteboard.writeItems(original);
    expectedChangeCount = pasteboard.changeCount();
    if (isRestored)
        ownedChangeCount.reset();
    else if (isEmpty())
        ownedChangeCount = expectedChangeCount; // Empty by this program's hand.
    return isRestored;
}

} // namespace orvel
