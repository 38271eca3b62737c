#include "Orvel/consultation/ChatGPTOperations.h"

#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/runtime/Random.h"

namespace orvel {

ChatGPTOperations::Running ChatGPTOperations::begin(ChatGPTDeliveryTrace::Kind kind) {
    stopUnless(!context, "Another ChatGPT operation is running.");
    context.emplace();
    try {
        context->record = std::make_shared<ChatGPTDeliveryTrace>(kind, randomUUID(), loop.now(),
                                                                 [this] { return loop.uptime(); });
    } catch (...) {
        context.reset();
        throw;
    }
    return Running(*this);
}

ChatGPTOperations::Running::~Running() {
    if (!owner) return;
    if (keeps) owner->finished.add(owner->context->record);
    owner->context.reset();
}

} // namespace orvel
