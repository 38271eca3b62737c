#pragma once
// A chain of conversations that alternate between the agents. Each two neighbours are joined by a pair; the
// link adds their order, common speaker names and one outgoing note for each conversation.

#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelaySpeakerContext.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// Where a chain can grow: before its first or behind its last conversation.
enum class RelayLinkEnd { leading, trailing };

constexpr std::string_view rawValue(RelayLinkEnd end) {
    return end == RelayLinkEnd::leading ? "leading" : "trailing";
}
inline constexpr std::array allLinkEnds{RelayLinkEnd::leading, RelayLinkEnd::trailing};

/// The outgoing instruction of one conversation of a chain.
struct RelayLinkNote {
    std::string instruction;
    std::int64_t revision = 0; ///< Goes up on every edit; ties a transfer to the text that it carried.

    bool operator==(const RelayLinkNote&) const = default;
};

/// Where a conversation that is still to be made will join a chain.
struct RelayLinkAttachment {
    std::string anchorPairID;
    RelayLinkEnd end = RelayLinkEnd::leading;

    bool operator==(const RelayLinkAttachment&) const = default;
};

struct RelayLink {
    static constexpr std::size_t maximumConversations = 3;

    std::string id; ///< UUID.
    std::vector<ConversationReference> conversations;
    std::vector<std::string> pairIDs; ///< pairIDs[i] joins conversations[i] and conversations[i + 1].
    RelaySpeakerContext speakerContext;
    std::optional<Date> archivedAt; ///< When the link was closed; absent while it is active.
    std::map<std::string, RelayLinkNote> sourceNotes; ///< By reference key.

    bool isActive() const { return !archivedAt; }
    bool containsPair(std::string_view pairID) const;
    bool containsIdentity(const ConversationReference& reference) const;

    /// The conversation at one end; the link must have conversations.
    const ConversationReference& member(RelayLinkEnd end) const {
        return end == RelayLinkEnd::leading ? conversations.front() : conversations.back();
    }

    /// The note of a conversation, or null; good until the notes change.
    const RelayLinkNote* note(const ConversationReference& reference) const;

    bool operator==(const RelayLink&) const = default;
};

/// The revision after this one.
constexpr std::int64_t nextRevision(std::int64_t revision) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(revision) + 1);
}

} // namespace orvel
