#include "OrvelCore/conversations/ConversationReference.h"

#include <nlohmann/json.hpp>

namespace orvel {

std::string ConversationReference::id() const {
    return std::string(rawValue(agent)) + ":" + sessionID;
}

ConversationReference ConversationReference::withTitle(std::string newTitle) const {
    auto copy = *this;
    copy.title = std::move(newTitle);
    return copy;
}

nlohmann::ordered_json jsonOf(const ConversationReference& reference) {
    nlohmann::ordered_json json{{"agent", rawValue(reference.agent)},
                                {"sessionID", reference.sessionID},
                                {"title", reference.title},
                                {"transcriptPath", reference.transcriptPath}};
    if (reference.workingDirectory) json["workingDirectory"] = *reference.workingDirectory;
    json["modifiedAt"] = reference.modifiedAt;
    if (reference.desktopSessionID) json["desktopSessionID"] = *reference.desktopSessionID;
    return json;
}

} // namespace orvel
