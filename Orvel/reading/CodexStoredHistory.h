#pragma once
// A whole Codex conversation, asked from Codex's server: a fork writes only its own tail to its transcript.
// What the server tells is rebuilt as a transcript, so that one reader makes every conversation.

#include "Orvel/reading/CodexThreadSession.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <functional>
#include <string>

namespace orvel::CodexStoredHistory {

/// Asks the server by a method and parameters, the JSON text of an object; the message holds the result.
using Request = std::function<Task<SharedMessage>(std::string method, std::string params)>;

/// What the server knows of a conversation, apart from its turns.
struct Metadata {
    std::string path;       ///< Of the transcript, verified.
    std::string statusType; ///< "idle", "notLoaded" or "active".
    std::string status;     ///< All of the status, as JSON with sorted keys.
    double updatedAt = 0;
};

/// The conversation. Everything in it comes from before one moment, at which the server confirmed that
/// nothing had changed. Files are read and pages converted in the background. Throws as
/// CodexThreadLoader::readHistory.
Task<SharedConversation> read(MainLoop& loop, ConversationReference reference, bool preferLocalTranscript,
                              Request request);

/// Throws CodexThreadLoaderError.
Task<Metadata> metadata(MainLoop& loop, ConversationReference reference, Request request);

/// The resolved path at which the server says that the transcript of `reference` lies. Reads the file if it
/// moved. Throws CodexThreadLoaderError.
std::string verifiedTranscriptPath(const std::string& path, const ConversationReference& reference);

/// Asks once more. Throws CodexThreadLoaderError if the file moved since, RelaySendError if the conversation
/// changed.
Task<void> verifyUnchanged(MainLoop& loop, ConversationReference reference, Metadata first, Request request);

} // namespace orvel::CodexStoredHistory
