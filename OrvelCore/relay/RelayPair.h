#pragma once
// Two conversations, one of each agent, that may exchange transfers, and what the user has prepared for the
// next one.

#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelaySpeakerContext.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

struct RelayPair {
    std::string id; ///< UUID.
    ConversationReference codex;
    ConversationReference claude;
    std::optional<Date> archivedAt; ///< When the pair was closed; absent while it is active.
    std::optional<RelaySpeakerContext> speakerContext; ///< Absent only in old files.

    bool isActive() const { return !archivedAt; }

    const ConversationReference& endpoint(Agent agent) const {
        return agent == Agent::codex ? codex : claude;
    }
    ConversationReference& endpoint(Agent agent) { return agent == Agent::codex ? codex : claude; }

    /// The name under which this end's assistant is quoted.
    std::string speakerLabel(Agent agent) const;

    bool operator==(const RelayPair&) const = default;
};

/// The editable next transfer of one side of a pair. A cleared draft is the empty one.
struct RelayDraft {
    std::string instruction; ///< As typed, not trimmed.
    std::optional<std::string> startMessageID;
    std::optional<bool> nextTransfer; ///< True: meant for the transfer after a pending one.

    bool isForNextTransfer() const { return nextTransfer == true; }

    bool operator==(const RelayDraft&) const = default;
};

/// A note with another one behind it, an empty line between them; the other one, where either is empty.
std::string appendingNote(const std::string& existing, const std::string& note);

/// The key of one side of a pair: "{pairID}:{agent}".
std::string positionKey(std::string_view pairID, Agent source);

/// Whether both have the same agent and session identifier, and so the same reference key.
bool sameKey(const ConversationReference& one, const ConversationReference& two);

/// Whether both are the same conversation in the same file: `sameKey`, and equal paths, as they stand or
/// after following links as far as the references know of any.
bool sameIdentity(const ConversationReference& one, const ConversationReference& two);

} // namespace orvel
