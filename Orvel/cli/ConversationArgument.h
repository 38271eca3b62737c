#pragma once
// The conversation that an argument FILE|ID means.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <optional>
#include <span>
#include <string>

namespace orvel {

struct Places;

struct NamedConversation {
    SharedConversation conversation;
    std::string title; ///< The best name known.
    std::string path;  ///< Of its transcript, absolute.
};

/// Reads the conversation. An argument with a slash, or one that names an existing file, is a transcript
/// file; without `agent` its format is recognised. Any other is the identifier of a session or of the Claude
/// application; without `agent` it must fit one conversation of both agents together. How one
/// begins will do where no other begins so. Throws FileError,
/// TranscriptError, ConversationCatalogError, and what ConversationReader::readReference throws.
NamedConversation readConversation(const std::string& fileOrID, std::optional<Agent> agent,
                                   const Places& places);

/// The conversation with this identifier, of `agent` if one is given, or the only one whose identifier begins
/// with it. Throws CommandFailure and ConversationCatalogError::ambiguous.
ConversationReference referenceNamed(const std::string& id, std::optional<Agent> agent,
                                     std::span<const ConversationReference> references);

} // namespace orvel
