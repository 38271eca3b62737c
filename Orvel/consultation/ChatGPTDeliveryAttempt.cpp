#include "Orvel/consultation/ChatGPTDeliveryAttempt.h"

namespace orvel {

Task<void> ChatGPTDeliveryAttempt::validate(std::string expectedQuestion, std::string expectedFilename,
                                            Task<Snapshot> snapshot) {
    requireChatGPTQuestion(expectedQuestion);
    const auto taken = co_await snapshot;
    taken.require(expectedQuestion, expectedFilename);
}

} // namespace orvel
