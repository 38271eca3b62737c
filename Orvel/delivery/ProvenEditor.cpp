#include "Orvel/delivery/ProvenEditor.h"

#include "Orvel/delivery/ClaudeReadiness.h"

namespace orvel {

ProvenEditor ProvenEditor::in(const ClaudeSnapshot& first, const ClaudeSnapshot& second) {
    throwSendErrorUnless(second.page == first.page && second.editor == first.editor &&
                             second.text == first.text && first.isIdle() && second.isIdle(),
                         claudeInputChanged);
    return ProvenEditor(second);
}

std::optional<ProvenSendButton> ProvenSendButton::in(const ClaudeSnapshot& first,
                                                     const ClaudeSnapshot& second, const std::string& message,
                                                     const ClaudeSnapshot& earlier) {
    throwSendErrorUnless(first.holdsOnly(message, earlier) && second.holdsOnly(message, earlier),
                         claudeChangedBeforeSend);
    if (!first.canSend() || !second.canSend()) return std::nullopt;
    throwSendErrorUnless(second.sendButton == first.sendButton, claudeChangedBeforeSend);
    return ProvenSendButton(*second.sendButton);
}

} // namespace orvel
