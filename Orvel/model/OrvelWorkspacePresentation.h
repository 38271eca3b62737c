#pragma once
// What the workspace shows, as a pure mapping from the model's state. A screen renders this value and decides
// nothing.

#include "Orvel/model/OrvelModel.h"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct OrvelWorkspaceState {
    bool hasSource = false; ///< A source is open: a conversation, pasted text or a chosen reference.
    bool loading = false;
    bool busy = false; ///< The source's agent has not finished its turn.
    bool hasFailure = false;
    bool hasContent = false; ///< The preview is not empty.

    bool operator==(const OrvelWorkspaceState&) const = default;
};

struct OrvelWorkspaceSnapshot {
    /// One card.
    struct Endpoint {
        std::string id;
        Agent agent = Agent::codex;
        std::string name;
        std::string title;
        std::string role; ///< "From" or "To".

        bool operator==(const Endpoint&) const = default;
    };

    OrvelWorkspaceState state;
    std::vector<Endpoint> endpoints;
    std::string destination; ///< The destination's name for the user.
    bool canCopy = false;
    bool hasRange = false; ///< A conversation is loaded, of which a range can be chosen.
    SelectedMessages messages;
    std::string sourceLabel;
    std::optional<std::string> error;
    std::size_t previewSize = 0; ///< Bytes of the text that would be relayed.
    std::string contextID;       ///< Changes whenever something else is shown.

    /// The large title: what is going on, in a few words.
    std::string statusTitle() const;
};

OrvelWorkspaceSnapshot workspaceSnapshot(const OrvelModel& model);

/// The best name known for the conversation: what Codex calls the thread, else what the catalogue says, else
/// its own title.
std::string conversationTitle(const RelaySession& relay, const ConversationReference& reference);

} // namespace orvel
