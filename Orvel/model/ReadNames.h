#pragma once
// What conversations are called in their transcripts, as far as it was read: for screens, where a reference
// has no title or no folder.

#include "OrvelCore/conversations/ConversationNames.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <span>
#include <string>
#include <unordered_map>

namespace orvel {

/// By the path of the transcript.
using ReadNames = std::unordered_map<std::string, ConversationNames>;

/// Reads what the transcripts call those that have no title or no folder. Those that can't be read are left
/// out.
ReadNames readNames(std::span<const ConversationReference> references);

/// The reference's title; where it has none, what was read, and never an identifier.
std::string shownTitle(const ConversationReference& reference, const ReadNames& names);

/// The name of the folder that the agent works in; where nothing says which, that of the transcript's own.
std::string shownFolder(const ConversationReference& reference, const ReadNames& names);

} // namespace orvel
