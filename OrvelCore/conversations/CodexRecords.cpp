#include "OrvelCore/conversations/CodexRecords.h"

#include "OrvelCore/conversations/MessageText.h"
#include "OrvelCore/conversations/TranscriptError.h"
#include "OrvelCore/text/JsonRecord.h"

namespace orvel {

void CodexRecords::take(const simdjson::dom::object& record, std::size_t lineNumber) {
    const auto type = stringMember(record, "type");
    const auto payload = objectMember(record, "payload");
    if (!type || !payload) return;
    if (*type == "event_msg")
        takeEvent(stringMember(*payload, "type").value_or(""));
    else if (*type == "session_meta")
        takeSessionMeta(*payload);
    else if (*type == "response_item")
        takeResponseItem(*payload, lineNumber, stringMember(record, "timestamp"));
}

void CodexRecords::takeEvent(std::string_view type) {
    if (type == "task_started") conversation.isBusy = true;
    if (type == "task_complete" || type == "turn_aborted") conversation.isBusy = false;
}

void CodexRecords::takeSessionMeta(const simdjson::dom::object& payload) {
    simdjson::dom::element base;
    if (payload["history_base"].get(base) == simdjson::SUCCESS && !base.is_null())
        throw TranscriptError(TranscriptError::Case::inheritedHistory);
    if (const auto id = stringMember(payload, "id")) conversation.id = *id;
}

void CodexRecords::takeResponseItem(const simdjson::dom::object& payload, std::size_t lineNumber,
                                    std::optional<std::string_view> writtenAt) {
    if (stringMember(payload, "type") != "message") return;
    const auto role = stringMember(payload, "role").value_or("");
    const bool isUser = role == "user";
    if (!isUser && role != "assistant") return;
    if (!isUser && stringMember(payload, "channel").value_or("final") != "final") return;
    messages.append(role, isUser ? codexUserText(payload) : contentText(payload["content"]),
                    stringMember(payload, "id"), lineNumber, writtenAt);
}

} // namespace orvel
