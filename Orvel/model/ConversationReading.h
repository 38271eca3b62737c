#pragma once
// Reading the conversation that a reference stands for.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

namespace orvel {

/// Reads the transcript of the reference, on any thread. Throws what TranscriptReader::read throws, and
/// RelayError::conversationMismatch if the file holds another conversation.
Conversation readReference(const ConversationReference& reference);

} // namespace orvel
