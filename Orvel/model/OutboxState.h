#pragma once
// What this run of the program knows of its deliveries: the one that is under way, and those that failed.

#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/OpenRelay.h"
#include "Orvel/model/TransferStanding.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace orvel {

/// Why a delivery failed.
struct DeliveryFailure {
    std::string text;
    bool canRetry = false;              ///< It is certain that nothing was inserted.
    std::optional<std::string> attempt; ///< The record of the attempt, without content, for reports.

    /// All of it, as the person is told.
    std::string description() const { return attempt ? text + "\n" + *attempt : text; }

    bool operator==(const DeliveryFailure&) const = default;
};

struct OutboxState {
    OutboxState(const ChangeSignal& changes, const MessageOperation& operation)
        : operation(operation),
          retryableTransferIDs(changes),
          transferFailures(changes),
          mayUseClaudeCode(changes) {}

    const MessageOperation& operation;
    Observable<std::set<std::string>> retryableTransferIDs;              ///< Those of this run.
    Observable<std::map<std::string, DeliveryFailure>> transferFailures; ///< The last of each transfer.

    Observable<bool> mayUseClaudeCode; ///< As Outbox::allowClaudeCode.

    /// Whether a message for this conversation goes to Claude Code's command. One that Claude's application
    /// knows never does.
    bool goesThroughClaudeCode(const ConversationReference& destination) const {
        return mayUseClaudeCode && destination.agent == Agent::claude && !destination.desktopSessionID;
    }

    bool mayRetry(const RelayTransfer& transfer) const {
        return transfer.retryable == true || retryableTransferIDs->contains(transfer.id);
    }

    /// The last failure of this transfer, or null; good until the next change.
    const DeliveryFailure* failureOf(const std::string& transferID) const {
        const auto found = transferFailures->find(transferID);
        return found == transferFailures->end() ? nullptr : &found->second;
    }

    /// How far the message has come. `relay` is what is open, since only its message can be under way.
    TransferStanding standing(const RelayTransfer& transfer, const OpenRelay& relay) const;

    /// Whether the open pair's message may go out, or out again.
    bool canSendRelay(const WorkspaceState& workspace, const OpenRelay& relay) const;
};

} // namespace orvel
