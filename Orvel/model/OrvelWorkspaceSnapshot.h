#pragma once
// What the workspace shows, as a value. A screen renders it and decides nothing.

#include "Orvel/model/OpenRelay.h"
#include "Orvel/model/TransferStanding.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct OrvelWorkspaceState {
    bool hasSource = false; ///< A source is open: a conversation, pasted text or a chosen reference.
    bool loading = false;
    bool sending = false;
    bool busy = false;       ///< The source's agent has not finished its turn.
    bool hasPending = false; ///< A saved message of this side is shown.
    bool canRetry = false;   ///< The saved message may be sent again.
    bool hasFailure = false;
    bool needsDestination = false; ///< The source has two neighbours, and none of them is chosen.
    bool otherPending = false;     ///< Another message of the link waits, so that none may go out here.
    bool hasContent = false;       ///< The preview is not empty.

    bool operator==(const OrvelWorkspaceState&) const = default;
};

/// A message of the shown conversation that is a relay from another one of its link.
struct RelayedMessage {
    std::string from;        ///< What the other conversation is called for the person, "Codex 2".
    std::string instruction; ///< May be empty.
    /// Whether its whole text would travel on, and not only its instruction.
    bool travelsWhole = false;

    bool operator==(const RelayedMessage&) const = default;
};

struct OrvelWorkspaceSnapshot {
    /// One card.
    struct Endpoint {
        std::string id;
        Agent agent = Agent::codex;
        std::string name;
        std::string title;
        std::string role;         ///< "From", "To", or nothing.
        bool isNew = false;       ///< No conversation is chosen for this card yet.
        bool canStartNew = false; ///< A new conversation can take its place.

        bool operator==(const Endpoint&) const = default;
    };

    /// One arrow between two cards.
    struct Route {
        std::string id;
        std::string fromID, toID;
        std::string title;
        bool selected = false;

        bool operator==(const Route&) const = default;
    };

    /// The identity of the arrow from one card to another.
    static std::string routeID(const std::string& fromID, const std::string& toID) {
        return fromID + " → " + toID;
    }

    OrvelWorkspaceState state;
    std::vector<Endpoint> endpoints;
    std::vector<Route> routes;
    std::string destination;            ///< The destination's name for the user.
    std::string primaryTitle;           ///< The text of the primary action.
    std::optional<std::string> refusal; ///< Why the destination can't be sent this text, with the way out.
    std::optional<std::string> workingFolder; ///< Of a new conversation with Codex.
    std::optional<std::string> cannotExtend;  ///< Why an open link can't, in a sentence.
    bool canSend = false;
    bool canCopy = false;
    bool preparing = false;    ///< Both conversations are read afresh, for a message that goes out.
    bool canEdit = true;       ///< Instruction and range may be changed.
    bool canLink = false;      ///< The source can be joined with a conversation of the other agent.
    bool canEditNext = false;  ///< What is typed is a note for the transfer after the saved one.
    bool isChain = false;      ///< The cards are those of an open chain, any of which can become the source.
    bool isStart = false;      ///< What goes out begins a new conversation.
    bool canExtend = false;    ///< The link can grow at its ends.
    bool canOpenCodex = false; ///< The new conversation can be shown in Codex's own application.
    bool needsFolder = false;  ///< One is about to be started, and no folder is chosen.
    bool canSubmitDraft = false; ///< Send may be pressed on the text that stands in Claude's editor.
    bool hasRange = false;       ///< A conversation is loaded, of which a range can be chosen.
    bool hasPending = false;
    bool waitingForPaste = false; ///< The saved message was copied for the user to paste.
    bool checkingDelivery = false;
    std::optional<std::string> transferID;            ///< The last transfer of the open pair, pending or not.
    std::optional<TransferStanding> transferStanding; ///< How far that has come.
    std::optional<std::string> pendingMessage;        ///< Its text, until it has been seen.
    std::optional<std::string> pendingHint;    ///< Why its receipt will not come, and what can be done.
    std::optional<std::string> pendingFailure; ///< Why its delivery or its receipt failed in this run.
    std::optional<std::string> pendingAttempt; ///< The record of the attempt that failed, for reports.
    SelectedMessages messages;
    SharedConversation conversation;       ///< Of which `messages` are the end; null if none is loaded.
    std::optional<std::string> sourceFile; ///< The path of a source that nobody has identified.
    std::map<std::string, RelayedMessage> relayed; ///< Those in `conversation`, by their identities.
    bool startsAtCheckpoint = false;               ///< An earlier transfer ended where the range begins.
    std::string assistantLabel;                    ///< What the source's agent is called in the text.
    std::optional<std::string>
        statusLine; ///< How things stand; absent where it only repeats the source's title.
    std::string sourceLabel;
    std::optional<std::string> error;
    bool isErrorOfPending = false;        ///< The error is why the saved message's delivery failed.
    std::optional<std::string> nextError; ///< Why the range of the next transfer cannot be shown.
    std::optional<std::string> nextRange; ///< What the next transfer would hold.
    std::size_t previewSize = 0;          ///< Bytes of the text that would be relayed.
    std::string contextID;                ///< Changes whenever something else is shown.

    /// The large title: what is going on, in a few words.
    std::string statusTitle() const;
};

} // namespace orvel
