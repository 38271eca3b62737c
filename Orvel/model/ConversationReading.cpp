#include "Orvel/model/ConversationReading.h"

#include "OrvelCore/conversations/TranscriptReader.h"
#include "OrvelCore/relay/RelayError.h"

namespace orvel {

Conversation readReference(const ConversationReference& reference) {
    auto conversation = TranscriptReader::read(reference.transcriptPath, reference.agent);
    if (conversation.id != reference.sessionID) throw RelayError(RelayError::Case::conversationMismatch);
    return conversation;
}

} // namespace orvel
