#pragma once
// Reading the conversation that a reference stands for, through Codex's server where its file does not hold
// it all.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

namespace orvel {

/// Reads conversations on behalf of one home. Belongs to the main loop's thread; the files are read in the
/// background.
class ConversationReading {
  public:
    /// The ports outlive this object and its tasks.
    ConversationReading(MainLoop& loop, Processes& processes, std::string home)
        : loop(loop), processes(processes), home(std::move(home)) {}

    /// A fresh reading. Throws what TranscriptReader::read and CodexThreadLoader::readHistory throw,
    /// RelayError::conversationMismatch if the file holds another conversation, and RelaySendError if Codex is
    /// needed and not found.
    Task<SharedConversation> readReference(ConversationReference reference);

  private:
    MainLoop& loop;
    Processes& processes;
    std::string home;
};

} // namespace orvel
