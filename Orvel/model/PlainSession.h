#pragma once
// The state of the plain session: one open conversation, file or pasted, and what would be relayed of it.

#include "Orvel/model/Generation.h"
#include "Orvel/runtime/Observable.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/Handoff.h"
#include "OrvelCore/conversations/RecentConversationsStore.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct PlainSession {
    explicit PlainSession(const ChangeSignal& changes)
        : source(changes, Agent::codex),
          destination(changes, Agent::claude),
          destinationConversation(changes),
          manualText(changes),
          instruction(changes),
          conversation(changes),
          filePath(changes),
          startIndex(changes),
          status(changes, "Open a conversation file or paste a conversation."),
          error(changes),
          isLoading(changes),
          recentConversations(changes),
          selectedStartMessageID(changes),
          copiedPreview(changes) {}

    Observable<Agent> source;
    Observable<Agent> destination;                   ///< Receives the relay.
    Observable<std::string> destinationConversation; ///< Identity of the destination conversation, as text.
    Observable<std::string> manualText;              ///< Pasted by the user when no file is loaded.
    Observable<std::string> instruction;             ///< Accompanies the next relay.
    Observable<SharedConversation> conversation; ///< The loaded source conversation; null if there is none.
    Observable<std::optional<std::string>> filePath; ///< The file behind `conversation`.
    Observable<std::size_t> startIndex;              ///< First selected message.
    Observable<std::string> status;                  ///< One line for the user.
    Observable<std::optional<std::string>> error;
    Observable<bool> isLoading;
    Observable<std::vector<RecentConversation>> recentConversations;
    Observable<std::optional<std::string>> selectedStartMessageID; ///< Chosen by the user.
    Observable<std::optional<std::string>> copiedPreview;          ///< The text of the last plain copy.

    // Recorded with a plain copy, which moves no position.
    std::optional<std::string> copiedLastMessageID;
    std::optional<std::string> copiedCheckpointKey;

    Generation loadGeneration;
    HandoffState state; ///< Positions of earlier versions.
};

} // namespace orvel
