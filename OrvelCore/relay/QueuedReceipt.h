#pragma once
// A message that Claude Code took up while a tool ran. It stands in the transcript, but never as a message of
// the user's, which alone is a receipt.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/relay/RelayTransfer.h"

#include <string_view>

namespace orvel {

/// Whether the transfer's text stands in its destination as such an attachment, behind the message that was
/// the last one at preparation. No receipt will come then.
bool standsAsQueuedCommand(const RelayTransfer& transfer, const Conversation& destination);

/// What that means, and what the person can do.
inline constexpr std::string_view wordsForQueuedCommand =
    "Claude Code took this message up while a tool ran. Its transcript holds it as an attachment and not "
    "as a message of yours, so no receipt will come. Claude has it: there is no need to send it again. To "
    "go on in this link, copy the saved message and send it to Claude once more while it is idle.";

} // namespace orvel
