#pragma once
// The names under which relayed texts quote the assistants of several conversations. A plain value: it is
// copied into a pair or link, changed and stored back.

#include "OrvelCore/conversations/ConversationReference.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace orvel {

struct RelaySpeakerContext {
    std::map<std::string, std::string> frozenLabels; ///< By reference key; promised for good.
    std::set<std::string>
        usedLabels; ///< Every label ever handed out, also those no conversation bears any more.

    /// The conversation's frozen label; else its agent's raw name, with the first free number behind it if
    /// the name is taken. Until the label is frozen, another conversation may get the same one.
    std::string label(const ConversationReference& reference) const;

    /// Fixes the label of a conversation, by default `label(reference)`. A frozen label never changes.
    void freeze(const ConversationReference& reference, std::optional<std::string> newLabel = std::nullopt);

    bool operator==(const RelaySpeakerContext&) const = default;
};

} // namespace orvel
