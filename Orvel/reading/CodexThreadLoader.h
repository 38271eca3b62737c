#pragma once
// The two purposes of a connection to Codex's server: watching a delivery, and reading a whole history.

#include "Orvel/reading/CodexThreadSession.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

namespace orvel::CodexThreadLoader {

/// A session with an idle conversation, ready for the watch of a turn. Throws CodexThreadLoaderError, and
/// ProcessError; then no server is left. The ports outlive the session.
Task<std::unique_ptr<CodexThreadSession>> connect(MainLoop& loop, Processes& processes,
                                                  std::string executable, std::string threadID);

/// The whole conversation, also one that is a fork and so holds only its own tail in its transcript, or one
/// whose transcript was moved. With `preferLocalTranscript` the file is read where it is enough. Throws
/// CodexThreadLoaderError, ProcessError, RelaySendError, RelayError and what TranscriptReader throws; then no
/// server is left.
Task<SharedConversation> readHistory(MainLoop& loop, Processes& processes, std::string executable,
                                     ConversationReference reference, bool preferLocalTranscript);

} // namespace orvel::CodexThreadLoader
