#include "OrvelCore/conversations/ClaudeRecords.h"

#include "OrvelCore/conversations/MessageText.h"
#include "OrvelCore/text/JsonRecord.h"

namespace orvel {

void ClaudeRecords::take(const simdjson::dom::object& record, std::size_t lineNumber) {
    if (isTrue(record, "isSidechain")) return;

    // Every type of record may be a link of the chain that leads from message to message.
    Place place{.uuid = stringMember(record, "uuid")};
    if (place.uuid) place.number = numberOf(*place.uuid);
    simdjson::dom::element parent;
    if (place.uuid && record["parentUuid"].get(parent) == simdjson::SUCCESS) {
        place.parent = numberOf(stringMember(record, "parentUuid").value_or(""));
        links[place.number].parent = place.parent;
        hasParents = true;
    }

    const auto type = stringMember(record, "type");
    if (type == "system" && stringMember(record, "subtype") == "stop_hook_summary")
        conversation.isBusy = false;
    if (type == "attachment") takeQueuedCommand(record, place);
    if (type != "user" && type != "assistant") return;
    const auto message = objectMember(record, "message");
    if (!message) return;
    if (const auto session = stringMember(record, "sessionId")) conversation.id = *session;
    place.writtenAt = stringMember(record, "timestamp");
    takeMessage(*message, *type, place, lineNumber);
}

void ClaudeRecords::takeMessage(const simdjson::dom::object& message, std::string_view type,
                                const Place& place, std::size_t lineNumber) {
    auto text = contentText(message["content"]);
    if (type == "user") {
        conversation.isBusy = true;
        if (place.parent != 0 && !text.empty()) noteUserChild(place.parent, place.number);
    } else {
        const auto reason = stringMember(message, "stop_reason").value_or("");
        conversation.isBusy = reason != "end_turn" && reason != "stop_sequence" && reason != "max_tokens";
    }
    if (place.uuid) lastUUID = place.number;
    if (messages.append(type, std::move(text), place.uuid, lineNumber, place.writtenAt))
        messageUUIDs.push_back(place.number);
}

void ClaudeRecords::takeQueuedCommand(const simdjson::dom::object& record, const Place& place) {
    const auto attachment = objectMember(record, "attachment");
    if (!attachment || stringMember(*attachment, "type") != "queued_command") return;
    conversation.queuedCommands.push_back(
        {contentText((*attachment)["prompt"]), conversation.messages.size()});
    queuedUUIDs.push_back(place.number);
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
    std::vector<QueuedCommand> keptCommands;
    std::size_t command = 0, next = 0, kept = 0;
    const auto takeCommands = [&] {
        for (; command < queuedUUIDs.size(); ++command) {
            auto& queued = conversation.queuedCommands[command];
            if (queued.messagesBefore > next) return;
            if (links[queuedUUIDs[command]].isActive) keptCommands.push_back({std::move(queued.text), kept});
        }
    };
    std::erase_if(conversation.messages, [&](const Message&) {
        takeCommands();
        const bool isKept = links[messageUUIDs[next++]].isActive;
        if (isKept) ++kept;
        return !isKept;
    });
    takeCommands();
    conversation.queuedCommands = std::move(keptCommands);
}

ClaudeRecords::Number ClaudeRecords::numberOf(std::string_view uuid) {
    const auto number = uuids.numberOf(uuid);
    if (number == links.size()) links.emplace_back();
    return number;
}

} // namespace orvel
