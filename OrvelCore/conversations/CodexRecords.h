#pragma once
// The records of a Codex transcript. For source files only: it brings simdjson.

#include "OrvelCore/conversations/MessageList.h"

#include <simdjson.h>

namespace orvel {

class CodexRecords {
  public:
    /// Fills `conversation`, which must outlive this object and holds the fallback id.
    explicit CodexRecords(Conversation& conversation)
        : conversation(conversation), messages(conversation.messages) {}

    /// Takes the next record of the file. Throws TranscriptError::inheritedHistory for the tail of a forked
    /// history.
    void take(const simdjson::dom::object& record, std::size_t lineNumber);

  private:
    void takeEvent(std::string_view type);
    void takeSessionMeta(const simdjson::dom::object& payload);
    void takeResponseItem(const simdjson::dom::object& payload, std::size_t lineNumber,
                          std::optional<std::string_view> writtenAt);

    Conversation& conversation;
    MessageList messages;
};

} // namespace orvel
