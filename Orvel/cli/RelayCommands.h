#pragma once
// The commands that send messages and look for them. Each locks the data folder while it works.

#include "Orvel/cli/Arguments.h"
#include "Orvel/platform/posix/Places.h"

namespace orvel {
class Output;
class Stylist;
} // namespace orvel

/// Each throws Failure with words for the user, which also say what is saved and what may have been sent; and
/// Interrupted, behind such words. With `arguments.json` each prints one JSON value at its end.
namespace orvel::RelayCommands {

/// Saves the next message of a link and delivers it; succeeds if it was delivered, with `arguments.wait` if
/// it was seen in its destination.
void send(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);

/// Saves the first message of a new conversation and begins it; succeeds if it was begun, with
/// `arguments.wait` if the message was seen in it.
void create(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);

/// Delivers the saved message of a link, or a saved first message, again, where that is safe.
void retry(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);

/// Looks for all saved messages in their destinations, and prints those that were found.
void receipts(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);

} // namespace orvel::RelayCommands
