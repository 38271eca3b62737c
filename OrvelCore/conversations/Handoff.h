#pragma once
// The oldest way into Orvel: a URL that asks to open a conversation for handing over, and the small file that
// remembered how far each direction had come.

#include "OrvelCore/conversations/Conversation.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace orvel {

/// What an orvel://handoff URL asks for.
struct HandoffRequest {
    Agent source = Agent::codex;
    std::optional<std::string> file;      ///< Absolute path of the transcript.
    std::optional<std::string> sessionID; ///< A UUID, kept exactly as given; only together with a file.
    std::string instruction;

    /// The request in a URL, or nothing if the URL is not acceptable. Query items are percent-decoded as
    /// UTF-8 and "+" stays "+". Characters that a URL may not hold as they are, blanks and non-ASCII text,
    /// count as if they were percent-encoded.
    static std::optional<HandoffRequest> parse(std::string_view url);

    bool operator==(const HandoffRequest&) const = default;
};

/// The positions of earlier versions, which are read and never written.
struct HandoffState {
    std::map<std::string, std::string> checkpoints;      ///< Last delivered message by `key`.
    std::map<std::string, std::string> lastDestinations; ///< Last destination conversation by `directionKey`.

    /// Reads the JSON form. Throws std::runtime_error with words for the user.
    static HandoffState decode(std::string_view json);

    /// "{source}:{destination}".
    static std::string directionKey(Agent source, Agent destination);

    /// The compact JSON array of the four texts.
    static std::string key(Agent source, std::string_view conversationID, Agent destination,
                           std::string_view destinationConversation);

    bool operator==(const HandoffState&) const = default;
};

namespace HandoffFormatter {

/// Index of the message behind the one with the id `after`; 0 if that is absent or unknown.
std::size_t nextIndex(std::span<const Message> messages, const std::optional<std::string>& after);

} // namespace HandoffFormatter
} // namespace orvel
