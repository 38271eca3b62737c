#include "OrvelCore/relay/RelayPair.h"

namespace orvel {

std::string RelayPair::speakerLabel(Agent agent) const {
    return speakerContext ? speakerContext->label(endpoint(agent)) : std::string(rawValue(agent));
}

std::string appendingNote(const std::string& existing, const std::string& note) {
    return existing + (existing.empty() || note.empty() ? "" : "\n\n") + note;
}

std::string positionKey(std::string_view pairID, Agent source) {
    return std::string(pairID) + ":" + std::string(rawValue(source));
}

bool sameKey(const ConversationReference& one, const ConversationReference& two) {
    return one.agent == two.agent && one.sessionID == two.sessionID;
}

bool sameIdentity(const ConversationReference& one, const ConversationReference& two) {
    return sameKey(one, two) &&
           (one.transcriptPath == two.transcriptPath || one.filePath() == two.filePath());
}

} // namespace orvel
