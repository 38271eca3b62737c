#pragma once
// A conversation on standard output, a piece at a time, so that a large one does not stand in memory twice.

#include "Orvel/cli/ConversationArgument.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"

namespace orvel {

/// The conversation as one JSON object on one line.
void writeAsJson(const Conversation& conversation, Output& output);

/// The conversation as a person reads it.
void writeAsText(const NamedConversation& named, Output& output, const Stylist& stylist);

} // namespace orvel
