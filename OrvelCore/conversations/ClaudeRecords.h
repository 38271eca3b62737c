#pragma once
// The records of a Claude transcript, and the branch of the conversation that is alive at its end. For source
// files only: it brings simdjson.

#include "OrvelCore/conversations/MessageList.h"

#include <string>
#include <unordered_map>
#include <vector>

#include <simdjson.h>

namespace orvel {

class ClaudeRecords {
  public:
    /// Fills `conversation`, which must outlive this object and holds the fallback id.
    explicit ClaudeRecords(Conversation& conversation)
        : conversation(conversation), messages(conversation.messages) {}

    /// Takes the next record of the file.
    void take(const simdjson::dom::object& record, std::size_t lineNumber);

    /// After the last record: drops the messages of abandoned branches and says whether one branched
    /// ambiguously.
    void resolveBranches();

  private:
    void takeMessage(const simdjson::dom::object& record, const simdjson::dom::object& message,
                     std::string_view type, std::size_t lineNumber);

    Conversation& conversation;
    MessageList messages;
    std::vector<std::string> messageUUIDs; // One for each message; empty if its record has none.
    std::unordered_map<std::string, std::string> parents;
    std::unordered_map<std::string, std::string> firstUserChild; // By parent; enough to notice a second one.
    std::optional<std::string> lastUUID;
    bool hasParents = false;
};

} // namespace orvel
