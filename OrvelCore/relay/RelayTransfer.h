#pragma once
// One message from one conversation to another, from its preparation to the proof that it arrived; and the
// first message into a conversation that does not exist yet.

#include "OrvelCore/conversations/ConversationReference.h"
#include "OrvelCore/relay/RelayLink.h"
#include "OrvelCore/relay/RelaySpeakerContext.h"
#include "OrvelCore/relay/Shared.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// Who puts the text into the destination: the user, by pasting it, or Orvel.
enum class RelayDeliveryMode { copied, submitted };

constexpr std::string_view rawValue(RelayDeliveryMode mode) {
    return mode == RelayDeliveryMode::copied ? "copied" : "submitted";
}
inline constexpr std::array allDeliveryModes{RelayDeliveryMode::copied, RelayDeliveryMode::submitted};

struct RelayTransfer {
    /// There is no state for failure: a failed send keeps awaiting its receipt, and is `retryable`.
    enum class Status { awaitingReceipt, received };

    std::string id; ///< UUID; that of the initial transfer from which this one was made, if any.
    std::string pairID;
    Agent source = Agent::codex;
    Shared<std::string> payload; ///< The exact text to deliver. Never changes.
    std::string instruction;     ///< The instruction alone, trimmed.
    /// Identities of the last messages of both conversations at preparation.
    std::optional<std::string> sourceThrough, destinationBefore;
    Date createdAt = 0;
    Status status = Status::awaitingReceipt;
    std::optional<std::string> receivedMessageID;  ///< The destination message that proved the delivery.
    std::optional<std::string> startMessageID;     ///< Where the range begins, if the user chose it.
    std::optional<RelayDeliveryMode> deliveryMode; ///< Absent in old files.
    std::optional<bool> retryable;
    std::optional<std::string>
        assistantLabel; ///< Speaker name in `payload`; absent in old files: the raw agent name.
    std::optional<std::int64_t> sourceNoteRevision; ///< Of the link's note that went into this transfer.

    bool isPending() const { return status == Status::awaitingReceipt; }

    bool operator==(const RelayTransfer&) const = default;
};

constexpr std::string_view rawValue(RelayTransfer::Status status) {
    return status == RelayTransfer::Status::awaitingReceipt ? "awaitingReceipt" : "received";
}
inline constexpr std::array allTransferStatuses{RelayTransfer::Status::awaitingReceipt,
                                                RelayTransfer::Status::received};

/// Becomes a pair and a transfer with the same id when its destination shows up.
struct RelayInitialTransfer {
    std::string id; ///< UUID.
    ConversationReference sourceReference;
    Agent destinationAgent = Agent::claude;
    Shared<std::string> payload; ///< The exact text to deliver. Never changes.
    std::string instruction;     ///< The instruction alone, trimmed.
    std::optional<std::string> sourceThrough;
    std::optional<std::string> startMessageID;
    /// Reference keys of the conversations of the destination's agent that existed at preparation.
    Shared<std::vector<std::string>> existingDestinationIDs;
    Date createdAt = 0;
    RelayDeliveryMode deliveryMode = RelayDeliveryMode::copied;
    std::optional<std::string> boundPairID; ///< Absent while pending.
    std::optional<bool> retryable;
    std::optional<std::string> nextInstruction, nextStartMessageID; ///< Draft of the transfer after this one.
    std::optional<RelaySpeakerContext> speakerContext;              ///< What the future pair inherits.
    std::optional<std::string> assistantLabel;                      ///< Speaker name in `payload`.
    std::optional<RelayLinkAttachment> linkAttachment; ///< Where the new conversation joins a link.
    std::optional<std::int64_t> sourceNoteRevision;

    bool isPending() const { return !boundPairID; }

    /// The name under which a conversation's assistant is quoted.
    std::string speakerLabel(const ConversationReference& reference) const;

    bool operator==(const RelayInitialTransfer&) const = default;
};

} // namespace orvel
