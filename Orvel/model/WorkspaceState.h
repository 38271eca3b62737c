#pragma once
// What is open: the source, alone or as one side of a pair, the range of it and the note that goes along.

#include "Orvel/runtime/Generation.h"
#include "Orvel/runtime/Observable.h"
#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/conversations/Handoff.h"
#include "OrvelCore/relay/RelayLink.h"

#include <cstddef>
#include <optional>
#include <string>

namespace orvel {

struct WorkspaceState {
    explicit WorkspaceState(const ChangeSignal& changes)
        : source(changes, Agent::codex),
          destination(changes, Agent::claude),
          destinationConversation(changes),
          manualText(changes),
          instruction(changes),
          conversation(changes),
          filePath(changes),
          startIndex(changes),
          isLoading(changes),
          selectedStartMessageID(changes),
          selectedPairID(changes),
          selectedInitialID(changes),
          chainDestinationUnselected(changes),
          newConversationAttachment(changes),
          creationFolder(changes),
          copiedPreview(changes),
          isAbandoned(changes) {}

    Observable<Agent> source;
    Observable<Agent> destination;                   ///< Receives the relay.
    Observable<std::string> destinationConversation; ///< Identity of the destination conversation, as text.
    Observable<std::string> manualText;              ///< Pasted by the user when no file is loaded.
    Observable<std::string> instruction;             ///< Accompanies the next relay.
    Observable<SharedConversation> conversation; ///< The loaded source conversation; null if there is none.
    Observable<std::optional<std::string>> filePath; ///< The file behind `conversation`.
    Observable<std::size_t> startIndex;              ///< First selected message.
    Observable<bool> isLoading;
    Observable<std::optional<std::string>> selectedStartMessageID; ///< Chosen by the user.
    Observable<std::optional<std::string>> selectedPairID;         ///< The pair that is open.
    Observable<std::optional<std::string>> selectedInitialID;      ///< The first message that is open.
    /// The open link's source has several neighbours, and nobody has said which one is to be told.
    Observable<bool> chainDestinationUnselected;
    Observable<std::optional<RelayLinkAttachment>> newConversationAttachment; ///< Where a new one will join.
    Observable<std::optional<std::string>> creationFolder; ///< In which a new conversation with Codex works.
    Observable<std::optional<std::string>> copiedPreview;  ///< The text of the last plain copy.
    /// Of a shown conversation with Claude that is at work: whether no running Claude Code has it open.
    Observable<bool> isAbandoned;

    // Recorded with a plain copy, which moves no position.
    std::optional<std::string> copiedLastMessageID;
    std::optional<std::string> copiedCheckpointKey;

    std::optional<Date> writtenAt; ///< When the shown reading's transcript had last been written, if known.
    std::optional<ConversationReference> sourceReference; ///< The open source, if the catalogue knows it.
    /// The labels that the next pair of the open source takes over.
    std::optional<RelaySpeakerContext> replacementSpeakerContext;
    Generation loadGeneration;
    Generation relayLoadGeneration;   ///< Renewed by everything that opens something else.
    Generation commandEditGeneration; ///< Renewed at every edit of the user's.
    HandoffState positions;           ///< Of earlier versions, read only.
};

} // namespace orvel
