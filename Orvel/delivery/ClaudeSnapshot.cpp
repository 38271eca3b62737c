#include "Orvel/delivery/ClaudeSnapshot.h"

#include "Orvel/delivery/ClaudeReadiness.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

bool ClaudeSnapshot::hasText() const {
    return !trimmed(text).empty();
}

bool ClaudeSnapshot::isIdle() const {
    return !hasText() && !sendButton && !hasAttachment && !isResponding;
}

bool ClaudeSnapshot::holdsOnly(const std::string& message, const ClaudeSnapshot& earlier) const {
    return page == earlier.page && editor == earlier.editor && text == message && !hasAttachment &&
           !isResponding;
}

bool ClaudeSnapshot::canSend() const {
    if (!sendButton) return false;
    throwSendErrorUnless(
        sendEnabled.has_value(),
        "Couldn't read whether Claude’s Send button is enabled. Stopped and kept the content.");
    return *sendEnabled;
}

} // namespace orvel
