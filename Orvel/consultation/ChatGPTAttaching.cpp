#include "Orvel/consultation/ChatGPTAttaching.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTRounds.h"

namespace orvel {

std::string ChatGPTAttachingTarget::filename() const {
    return archive.fileURL.substr(archive.fileURL.rfind('/') + 1);
}

Task<void> ChatGPTAttaching::awaitAttachment(ChatGPTAttachingTarget target) {
    rooms.enter(ChatGPTDeliveryTrace::Phase::postUpload);
    const ChatGPTRounds::Round<bool> round = [this, target] { return isAttached(target); };
    co_await ChatGPTRounds::untilReady<bool>(rooms.ports.loop, round);
}

// The page may have drawn its editor anew, but not the region around it.
Task<bool> ChatGPTAttaching::isAttached(ChatGPTAttachingTarget target) {
    constexpr const char* unconfirmed = "Couldn't confirm that exactly one ZIP finished attaching.";
    const auto& page = target.page;
    rooms.pages.requireForeground(page);
    co_await rooms.pages.verifySamePage(page);
    const auto editor = co_await rooms.composers.composer(page.web);
    const auto region = co_await rooms.composers.composerRegion(editor, page.web);
    stopUnless(region == target.region, unconfirmed);
    const auto filename = target.filename();
    co_await rooms.composers.requireOnlyAttachment(region, filename, unconfirmed);
    co_return true;
}

} // namespace orvel
