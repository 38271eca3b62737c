#pragma once
// What this run of the program knows of its deliveries: the one that is under way, and those that failed.

#include "Orvel/model/MessageOperation.h"
#include "Orvel/model/OpenRelay.h"
#include "Orvel/model/TransferStanding.h"

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// Why a delivery failed.
struct DeliveryFailure {
    std::string text;
    bool canRetry = false;              ///< It is certain that nothing was inserted.
    std::optional<std::string> attempt; ///< The record of the attempt, without content, for reports.
    bool wasHandedOver = false;         ///< The destination has taken the message; what failed came behind.

    /// All of it, as the person is told.
    std::string description() const { return attempt ? text + "\n" + *attempt : text; }

    bool operator==(const DeliveryFailure&) const = default;
};

/// Why a message that was looked for has no receipt.
struct ReceiptProblem {
    std::string text;
    bool isSeen = false; ///< It stands in the transcript, but that could not be saved.

    bool operator==(const ReceiptProblem&) const = default;
};

/// What a look for receipts came to.
struct ReceiptLook {
    std::vector<std::string> received;              ///< Transfers whose receipts are saved now.
    std::map<std::string, ReceiptProblem> problems; ///< By transfer: all that stand in the way.
};

struct OutboxState {
    /// `longestArgument` is that of Processes.
    OutboxState(const ChangeSignal& changes, const MessageOperation& operation, std::size_t longestArgument)
        : operation(operation),
          longestArgument(longestArgument),
          retryableTransferIDs(changes),
          transferFailures(changes),
          receiptProblems(changes),
          mayUseClaudeCode(changes) {}

    const MessageOperation& operation;
    const std::size_t longestArgument;
    Observable<std::set<std::string>> retryableTransferIDs;              ///< Those of this run.
    Observable<std::map<std::string, DeliveryFailure>> transferFailures; ///< The last of each transfer.
    Observable<std::map<std::string, ReceiptProblem>> receiptProblems;   ///< Of the last look.

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

    /// Why its receipt is missing, or null; good until the next change.
    const ReceiptProblem* receiptProblemOf(const std::string& transferID) const {
        const auto found = receiptProblems->find(transferID);
        return found == receiptProblems->end() ? nullptr : &found->second;
    }

    /// Why the conversation can't be sent this text, with the way out, or nothing.
    std::optional<std::string> refusal(const ConversationReference& destination, std::string_view text) const;

    /// How far the message has come. `relay` is what is open, since only its message can be under way.
    TransferStanding standing(const RelayTransfer& transfer, const OpenRelay& relay) const;

    /// The same for a first message whose conversation is not known yet.
    TransferStanding standing(const RelayInitialTransfer& initial) const;

    /// Whether the open pair's message, or the open first one, may go out, or out again.
    bool canSendRelay(const WorkspaceState& workspace, const OpenRelay& relay) const;
};

} // namespace orvel
