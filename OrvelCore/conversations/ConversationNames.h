#pragma once
// What a conversation is called on a screen where its reference has no title, or no folder. Records and rules
// keep to the reference.

#include "OrvelCore/conversations/Conversation.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

struct ConversationNames {
    /// How much of a transcript is read for its names, in bytes: at most so much of its beginning, until the
    /// user's first message is found, and so much of its end, where the latest title stands.
    static constexpr std::size_t headLimit = 262'144, tailLimit = 262'144;

    /// That of the latest title record, one of the user's before one that the agent made; else the first
    /// words of the user's first own message.
    std::optional<std::string> title;
    std::optional<std::string> folder; ///< Of the first record that has one.

    /// Whether the reference leaves anything to be looked for.
    static bool areMissing(const ConversationReference& reference);

    /// Reads them from the transcript. Throws FileError.
    static ConversationNames read(const ConversationReference& reference);

    bool operator==(const ConversationNames&) const = default;
};

/// What stands where nothing names a conversation.
inline constexpr std::string_view untitled = "Untitled";

/// Whether the text tells people of a conversation: neither blank nor around an identifier, as the names of
/// the agents' files are, nor what stands in place of a name.
bool isReadableName(std::string_view text);

/// The beginning of the user's first own message, or nothing.
std::string firstOwnWords(const Conversation& conversation);

/// The beginning of a message as a title: one line of at most 80 characters, without the lines that stand for
/// attachments. Empty if nothing is left.
std::string firstWords(std::string_view text);

} // namespace orvel
