#pragma once
// The records of a Claude transcript, and the branch of the conversation that is alive at its end. For source
// files only: it brings simdjson.

#include "OrvelCore/conversations/MessageList.h"
#include "OrvelCore/text/TextNumbers.h"

#include <optional>
#include <vector>

#include <simdjson.h>

namespace orvel {

class ClaudeRecords {
  public:
    /// Fills `conversation`, which must outlive this object and holds the fallback id.
    explicit ClaudeRecords(Conversation& conversation)
        : conversation(conversation), messages(conversation.messages) {
        numberOf("");
    }

    /// Takes the next record of the file.
    void take(const simdjson::dom::object& record, std::size_t lineNumber);

    /// After the last record: drops the messages of abandoned branches.
    void resolveBranches();

  private:
    using Number = TextNumbers::Number;

    // What is known of the record behind a uuid. Number 0 is the empty uuid, which leads nowhere.
    struct Link {
        Number parent = 0;
        std::optional<Number> userChild; // The first one; enough to notice a second.
        bool isActive = false;
    };

    // Where a record stands in the chain, and in time.
    struct Place {
        std::optional<std::string_view> uuid;
        Number number = 0; // Of the uuid.
        Number parent = 0;
        std::optional<std::string_view> writtenAt; // Of a message.
    };

    Number numberOf(std::string_view uuid);
    void takeMessage(const simdjson::dom::object& message, std::string_view type, const Place& place,
                     std::size_t lineNumber);
    void takeQueuedCommand(const simdjson::dom::object& record, const Place& place);
    void noteUserChild(Number parent, Number child);

    Conversation& conversation;
    MessageList messages;
    TextNumbers uuids;
    std::vector<Link> links;          // By number.
    std::vector<Number> messageUUIDs; // One for each message, 0 if its record has none.
    std::vector<Number> queuedUUIDs;  // The same for each queued command.
    std::optional<Number> lastUUID;
    bool hasParents = false;
};

} // namespace orvel
