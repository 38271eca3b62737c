#pragma once
// What the page shows of a question and a ZIP after Send.

#include <optional>

namespace orvel {

struct ChatGPTReceiptEvidence {
    bool sameChat = false;             ///< The page shows a conversation.
    bool questionOutside = false;      ///< The question stands outside the composer,
    bool archiveOutside = false;       ///< and so does the ZIP's name.
    std::optional<bool> composerEmpty; ///< Nothing where it could not be told, as below.
    std::optional<bool> attachmentsConsumed;

    /// The state of the composer has no vote, since the page redraws it at its own time.
    bool confirmed() const { return sameChat && questionOutside && archiveOutside; }

    bool operator==(const ChatGPTReceiptEvidence&) const = default;
};

} // namespace orvel
