#include "OrvelCore/relay/RelayError.h"

#include <array>

namespace orvel {

namespace {

constexpr std::array<FailureWords, 15> words{{
    {"pairNotFound", "The linked conversations could not be found."},
    {"pairArchived", "This link is closed. Reopen it to continue."},
    {"activePairExists", "A link already connects these conversations. Close it before reopening this link."},
    {"conversationMismatch", "The selected conversation ID does not match the loaded transcript."},
    {"busy", "Wait for the conversation reply to finish."},
    {"ambiguousBranches", "The transcript has ambiguous branches. Choose a new dedicated conversation."},
    {"missingCheckpoint",
     "The last transfer position was not found in the transcript. Check for history changes."},
    {"pendingTransfer",
     "This link has a transfer awaiting delivery confirmation. Check the destination transcript first."},
    {"emptyTransfer", "New messages or instructions are required."},
    {"transferNotFound", "The transfer record could not be found."},
    {"destinationAlreadyExisted",
     "This conversation existed before the initial copy. Select the newly created destination conversation."},
    {"invalidLink", "Couldn't verify the conversations and connections in this link."},
    {"duplicateLinkConversation", "This conversation is already in the link."},
    {"unsupportedAdjacentAgents", "Links currently alternate between Codex and Claude. Conversations from "
                                  "the same app cannot be adjacent."},
    {"linkCapacity", "A link currently supports up to three conversations."},
}};

} // namespace

RelayError::RelayError(Case kind) : Failure(words[static_cast<std::size_t>(kind)]), which(kind) {}

RelayError::RelayError(Case kind, std::string_view explanation)
    : Failure(words[static_cast<std::size_t>(kind)].name,
              std::string(words[static_cast<std::size_t>(kind)].text).append(" ").append(explanation)),
      which(kind) {}

} // namespace orvel
