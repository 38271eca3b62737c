#include "OrvelCore/consultation/ChatGPTDeliverySnapshot.h"

#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/Unicode.h"

namespace orvel {

void ChatGPTDeliverySnapshot::require(std::string_view expectedQuestion,
                                      const std::string& expectedFilename) const {
    const bool isExact = samePage && composerText == expectedQuestion &&
                         attachmentNames == std::vector{expectedFilename} && sendEnabled;
    if (!isExact) {
        throw RelaySendError("Couldn't verify the question and exactly one ZIP in the same conversation. "
                             "Nothing was sent.");
    }
}

void requireChatGPTQuestion(std::string_view question) {
    if (trimmed(question).empty())
        throw RelaySendError("The question is empty. A ZIP cannot be sent on its own.");
}

} // namespace orvel
