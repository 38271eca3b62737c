#pragma once
// The commands that change links, and say which conversation a first message has founded. Each locks the data
// folder while it works, and sends nothing.

#include "Orvel/cli/Arguments.h"
#include "Orvel/platform/posix/Places.h"

namespace orvel {
class Output;
} // namespace orvel

/// Each throws Failure with words for the user, which also say what was not changed. Each prints the
/// identifier of the link, with `arguments.json` as an object.
namespace orvel::LinkCommands {

/// Makes the pair of two conversations, or finds it.
void link(const Arguments& arguments, const Places& places, Output& output);
/// Adds a known conversation at an end of a link.
void extend(const Arguments& arguments, const Places& places, Output& output);
void close(const Arguments& arguments, const Places& places, Output& output);
void reopen(const Arguments& arguments, const Places& places, Output& output);
/// Takes a conversation for the one that a saved first message has founded.
void bind(const Arguments& arguments, const Places& places, Output& output);

} // namespace orvel::LinkCommands
