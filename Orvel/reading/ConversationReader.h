#pragma once
// Reading the conversation that a reference stands for, through Codex's server where its file does not hold
// it all.

#include "Orvel/desktop/Processes.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/files/FileFacts.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Reads conversations on behalf of one home. Belongs to the main loop's thread; the files are read in the
/// background.
class ConversationReader {
  public:
    /// By `key`.
    using Readings = std::map<std::string, SharedConversation>;

    /// The ports outlive this object and its tasks.
    ConversationReader(MainLoop& loop, Processes& processes, std::string home)
        : loop(loop), processes(processes), home(std::move(home)) {}

    /// Tells readings apart: "{agent}:{sessionID}\n{transcriptPath}".
    static std::string key(const ConversationReference& reference);
    /// The path in such a key.
    static std::string pathIn(const std::string& key);

    /// A fresh reading; if it equals an earlier one that somebody still holds, that one is given. Throws what
    /// TranscriptReader::read and CodexThreadLoader::readHistory throw, RelayError::conversationMismatch if
    /// the file holds another conversation, and RelaySendError if Codex is needed and not found.
    Task<SharedConversation> readReference(ConversationReference reference);

    /// The same; but a file that has not changed since it was last read is not read again, as long as
    /// somebody holds that reading.
    Task<SharedConversation> readIfChanged(ConversationReference reference);

    /// The readings of all by `readIfChanged`, each once; what could not be read is left out.
    Task<Readings> readChanged(std::vector<ConversationReference> references);

    /// When the file of the last reading had last been written.
    std::optional<Date> writtenAt(const ConversationReference& reference) const;

  private:
    Task<SharedConversation> readUnless(ConversationReference reference, std::optional<FileFacts> facts);

    /// What was read when the file had these facts.
    struct Earlier {
        std::optional<FileFacts> facts;
        std::weak_ptr<const Conversation> conversation;
    };

    MainLoop& loop;
    Processes& processes;
    std::string home;
    std::map<std::string, Earlier> earlier;
};

} // namespace orvel
