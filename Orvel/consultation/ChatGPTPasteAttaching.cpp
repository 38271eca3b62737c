// Attaches a ZIP by pasting its address into the editor.

#include "Orvel/consultation/BorrowedClipboard.h"
#include "Orvel/consultation/ChatGPTAttaching.h"
#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTRounds.h"
#include "Orvel/consultation/FileAddress.h"
#include "Orvel/desktop/KeyboardTap.h"

#include <utility>

namespace orvel {

namespace {

constexpr SyntheticKey pasteKey{KeyCode::letterV, SyntheticKey::command};
constexpr const char* fileListType = "text/uri-list"; // RFC 2483.

constexpr const char* noFocus = "Couldn't move the keyboard into the ChatGPT editor. Nothing was attached.";
constexpr const char* changedBeforePaste =
    "The ChatGPT editor changed before the ZIP was pasted. Nothing was attached.";

} // namespace

Task<void> ChatGPTPasteAttaching::attach(ChatGPTAttachingTarget target) {
    const auto& page = target.page;
    auto& accessibility = rooms.ports.accessibility;
    rooms.enter(ChatGPTDeliveryTrace::Phase::selection);
    co_await rooms.elements.step();
    const auto empty = rooms.elements.requiredText(target.editor);
    co_await target.archive.verifyUnchanged(rooms.ports.loop);
    rooms.pages.requireForeground(page);
    co_await rooms.pages.verifySamePage(page);
    const bool isFocused = co_await hasFocus(target);
    if (!isFocused) {
        const auto status = accessibility.setAttribute(target.editor, "AXFocused", AXValue(true));
        stopUnless(status == AXStatus::success, noFocus);
        co_await rooms.ports.loop.sleep(ChatGPTRounds::pause);
    }

    BorrowedClipboard clipboard(rooms.ports.pasteboard);
    stopUnless(clipboard.borrow({{fileListType, fileURLOf(target.archive.fileURL) + "\r\n"}}),
               "Couldn't put the ZIP on the clipboard. Nothing was attached.");
    const auto paste = rooms.ports.eventPosting.key(pasteKey, page.pid);
    stopUnless(paste != nullptr, "Couldn't paste the ZIP. Nothing was attached.");
    co_await verifyBeforePaste(target, empty);
    stopUnless(clipboard.isOwned(), "The clipboard changed in another operation. Nothing was attached.");
    paste->post();
    co_await awaitAttachment(target);
}

Task<bool> ChatGPTPasteAttaching::hasFocus(ChatGPTAttachingTarget target) {
    co_await rooms.elements.step();
    const auto application = rooms.elements.application(target.page.pid);
    const auto focused = rooms.elements.element(application, "AXFocusedUIElement");
    if (!focused) co_return false;
    co_return co_await rooms.elements.checkedWithin(*focused, target.editor);
}

// What has to hold of the page when the key goes there.
Task<void> ChatGPTPasteAttaching::verifyBeforePaste(ChatGPTAttachingTarget target, std::string empty) {
    const auto& page = target.page;
    co_await rooms.pages.verifySamePage(page);
    co_await rooms.composers.verifyHeldComposer(target.editor, target.region, page);
    co_await rooms.composers.requireInitialEmptyRegion(target.region);
    const bool isFocused = co_await hasFocus(target);
    stopUnless(isFocused, noFocus);
    const ChatGPTExpectedText expected{target.editor, empty, changedBeforePaste};
    co_await rooms.lastLook.verify(page, expected);
}

} // namespace orvel
