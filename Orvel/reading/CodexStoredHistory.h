#pragma once
// Reads a whole Codex conversation from Codex's server, since the transcript of a fork holds only its own
// tail. The server's pages are rebuilt as a transcript, so that there is one parser for all conversations.

#include "Orvel/reading/CodexThreadSession.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <functional>
#include <string>

namespace orvel::CodexStoredHistory {

/// Calls a method of the server. `params` is the JSON text of an object; the message holds the result.
using Request = std::function<Task<SharedMessage>(std::string method, std::string params)>;

/// What the server knows about a conversation, without its turns.
struct Metadata {
    std::string path;       ///< Of the transcript, verified.
    std::string statusType; ///< "idle", "notLoaded" or "active".
    std::string status;     ///< All of the status, as JSON with sorted keys.
    double updatedAt = 0;
};

/// The conversation as of one moment: afterwards the server has confirmed that nothing had changed meanwhile.
/// Reads files and converts pages in the background. Throws as CodexThreadLoader::readHistory.
Task<SharedConversation> read(MainLoop& loop, ConversationReference reference, bool preferLocalTranscript,
                              Request request);

/// Throws CodexThreadLoaderError.
Task<Metadata> metadata(MainLoop& loop, ConversationReference reference, Request request);

/// Verifies and resolves the path that the server gives for the transcript of `reference`. Reads the file if
/// it has moved. Throws CodexThreadLoaderError.
std::string verifiedTranscriptPath(const std::string& path, const ConversationReference& reference);

/// Asks again. Throws CodexThreadLoaderError if the file has moved, RelaySendError if the conversation has
/// changed.
Task<void> verifyUnchanged(MainLoop& loop, ConversationReference reference, Metadata first, Request request);

} // namespace orvel::CodexStoredHistory
