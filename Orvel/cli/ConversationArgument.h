#pragma once
// The conversation that an argument FILE|ID means.

#include "OrvelCore/conversations/AgentFolders.h"
#include "OrvelCore/conversations/Conversation.h"

#include <optional>
#include <string>

namespace orvel {

struct NamedConversation {
    Conversation conversation;
    std::string title; ///< The best name known.
    std::string path;  ///< Of its transcript, absolute.
};

/// Reads the conversation. An argument with a slash, or one that names an existing file, is a transcript
/// file; without `agent` its format is recognised. Any other is the identifier of a session or of the Claude
/// application; without `agent` it must fit one conversation of both agents together. Throws FileError,
/// TranscriptError, ConversationCatalogError and RelayError::conversationMismatch.
NamedConversation readConversation(const std::string& fileOrID, std::optional<Agent> agent,
                                   const AgentFolders& folders);

} // namespace orvel
