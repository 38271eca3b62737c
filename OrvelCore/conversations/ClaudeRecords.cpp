#include "OrvelCore/conversations/ClaudeRecords.h"

#include "OrvelCore/conversations/MessageText.h"
#include "OrvelCore/text/JsonRecord.h"

namespace orvel {

void ClaudeRecords::take(const simdjson::dom::object& record, std::size_t lineNumber) {
    if (isTrue(record, "isSidechain")) return;

    // Every type of record may be a link of the chain that leads from message to message.
    const auto uuid = stringMember(record, "uuid");
    simdjson::dom::element parent;
    if (uuid && record["parentUuid"].get(parent) == simdjson::SUCCESS) {
        const auto parentNumber = numberOf(stringMember(record, "parentUuid").value_or(""));
        links[numberOf(*uuid)].parent = parentNumber;
        hasParents = true;
    }

    const auto type = stringMember(record, "type");
    if (type == "system" && stringMember(record, "subtype") == "stop_hook_summary")
        conversation.isBusy = false;
    if (type != "user" && type != "assistant") return;
    if (const auto message = objectMember(record, "message"))
        takeMessage(record, *message, *type, lineNumber);
}

void ClaudeRecords::takeMessage(const simdjson::dom::object& record, const simdjson::dom::object& message,
                                std::string_view type, std::size_t lineNumber) {
    const auto uuid = stringMember(record, "uuid");
    const auto number = uuid ? numberOf(*uuid) : 0;
    auto text = contentText(message["content"]);
    if (const auto session = stringMember(record, "sessionId")) conversation.id = *session;
    if (type == "user") {
        conversation.isBusy = true;
        const auto parent = stringMember(record, "parentUuid").value_or("");
        if (!parent.empty() && uuid && !text.empty()) noteUserChild(numberOf(parent), number);
    } else {
        const auto reason = stringMember(message, "stop_reason").value_or("");
        conversation.isBusy = reason != "end_turn" && reason != "stop_sequence" && reason != "max_tokens";
    }
    if (uuid) lastUUID = number;
    if (messages.append(type, std::move(text), uuid, lineNumber)) messageUUIDs.push_back(number);
}

void ClaudeRecords::noteUserChild(Number parent, Number child) {
    auto& first = links[parent].userChild;
    if (!first) first = child;
    if (*first != child) conversation.hasAmbiguousBranches = true;
}

void ClaudeRecords::resolveBranches() {
    if (!hasParents || !lastUUID) return;
    for (auto at = *lastUUID; at != 0 && !links[at].isActive; at = links[at].parent)
        links[at].isActive = true;
    std::vector<Message> kept;
    for (std::size_t i = 0; i < conversation.messages.size(); ++i)
        if (links[messageUUIDs[i]].isActive) kept.push_back(std::move(conversation.messages[i]));
    conversation.messages = std::move(kept);
}

ClaudeRecords::Number ClaudeRecords::numberOf(std::string_view uuid) {
    const auto number = uuids.numberOf(uuid);
    if (number == links.size()) links.emplace_back();
    return number;
}

} // namespace orvel
