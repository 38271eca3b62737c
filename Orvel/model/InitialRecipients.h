#pragma once
// Which new conversation a first message has founded, as far as the transcripts prove it.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/relay/RelayState.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvel {

/// A conversation and what was read in it.
struct ReadConversation {
    ConversationReference reference;
    SharedConversation conversation;
};

/// Of each pending first message the conversations that hold it and did not exist before it; by identifier.
using InitialCandidates = std::map<std::string, std::vector<ConversationReference>>;
InitialCandidates initialReceiptCandidates(const RelayState& state,
                                           std::span<const ReadConversation> readings,
                                           const RelayStamp& stamp);

/// The one candidate of each message that has exactly one, which is no candidate of another message.
std::map<std::string, ConversationReference> uniqueInitialRecipients(const InitialCandidates& candidates);

/// Whether the conversation may have been founded by the message: it is of the right agent and new.
bool mayBeFoundedBy(const ConversationReference& reference, const RelayInitialTransfer& initial);

/// Notes Claude's own identifiers of conversations where its application knows them by now. Throws
/// RelayError.
void supplementClaudeDesktopReferences(RelayState& state, std::span<const ConversationReference> known);

} // namespace orvel
