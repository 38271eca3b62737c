#pragma once
// Connects to Codex's server, either to watch a delivery or to read a whole history.

#include "Orvel/reading/CodexThreadSession.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

namespace orvel::CodexThreadLoader {

/// A session with an idle conversation, ready to watch a turn. Throws CodexThreadLoaderError and
/// ProcessError; then no server is left running. The ports outlive the session.
Task<std::unique_ptr<CodexThreadSession>> connect(MainLoop& loop, Processes& processes,
                                                  std::string executable, std::string threadID);

/// The whole conversation, even if its transcript has moved or holds only the tail of a fork. With
/// `preferLocalTranscript` the file is read if it is complete. Throws CodexThreadLoaderError, ProcessError,
/// RelaySendError, RelayError and what TranscriptReader throws; then no server is left running.
Task<SharedConversation> readHistory(MainLoop& loop, Processes& processes, std::string executable,
                                     ConversationReference reference, bool preferLocalTranscript);

} // namespace orvel::CodexThreadLoader
