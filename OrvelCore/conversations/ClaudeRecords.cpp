#include "OrvelCore/conversations/ClaudeRecords.h"

#include "OrvelCore/conversations/MessageText.h"
#include "OrvelCore/text/JsonRecord.h"

#include <unordered_set>

namespace orvel {

void ClaudeRecords::take(const simdjson::dom::object& record, std::size_t lineNumber) {
    if (isTrue(record, "isSidechain")) return;

    // Every type of record may be a link of the chain that leads from message to message.
    const auto uuid = stringMember(record, "uuid");
    simdjson::dom::element parent;
    if (uuid && record["parentUuid"].get(parent) == simdjson::SUCCESS) {
        parents[std::string(*uuid)] = stringMember(record, "parentUuid").value_or("");
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
    auto text = contentText(message["content"]);
    if (const auto session = stringMember(record, "sessionId")) conversation.id = *session;
    if (type == "user") {
        conversation.isBusy = true;
        const auto parent = stringMember(record, "parentUuid").value_or("");
        if (!parent.empty() && uuid && !text.empty()) {
            const auto [child, isFirst] = firstUserChild.try_emplace(std::string(parent), *uuid);
            if (!isFirst && child->second != *uuid) conversation.hasAmbiguousBranches = true;
        }
    } else {
        const auto reason = stringMember(message, "stop_reason").value_or("");
        conversation.isBusy = reason != "end_turn" && reason != "stop_sequence" && reason != "max_tokens";
    }
    if (uuid) lastUUID = *uuid;
    if (messages.append(type, std::move(text), uuid, lineNumber))
        messageUUIDs.emplace_back(uuid.value_or(std::string_view()));
}

void ClaudeRecords::resolveBranches() {
    if (!hasParents || !lastUUID) return;
    std::unordered_set<std::string> active;
    std::string at = *lastUUID;
    while (!at.empty() && active.insert(at).second) {
        const auto parent = parents.find(at);
        at = parent == parents.end() ? std::string() : parent->second;
    }
    std::vector<Message> kept;
    for (std::size_t i = 0; i < conversation.messages.size(); ++i)
        if (active.contains(messageUUIDs[i])) kept.push_back(std::move(conversation.messages[i]));
    conversation.messages = std::move(kept);
}

} // namespace orvel
