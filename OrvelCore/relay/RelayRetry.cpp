#include "OrvelCore/relay/RelayRetry.h"

#include "OrvelCore/conversations/RelayFormatter.h"
#include "OrvelCore/relay/RelayChecks.h"

namespace orvel {

bool isPreparedAgain(const RelayTransfer& transfer, const RelayState& state, const Conversation& source) {
    const auto messages = state.preview(transfer.pairID, transfer.source, source, transfer.startMessageID);
    const auto speaker = transfer.assistantLabel.value_or(std::string(rawValue(transfer.source)));
    return lastMessageID(source) == transfer.sourceThrough &&
           RelayFormatter::render(transfer.source, messages, transfer.instruction, speaker) ==
               *transfer.payload;
}

} // namespace orvel
