#pragma once
// What the commands print. Each gives the whole of its standard output, or writes it there, and writes
// nothing anywhere else.

#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/platform/posix/Places.h"

#include <string>

namespace orvel::Commands {

/// Each throws Failure with words for the user. `stylist` colours the form for people; with `arguments.json`
/// there is one JSON value on one line instead.
std::string list(const Arguments& arguments, const Places& places, const Stylist& stylist);
void show(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);
std::string url(const Arguments& arguments, const Stylist& stylist);
std::string recent(const Arguments& arguments, const Places& places, const Stylist& stylist);

/// The text that would be relayed, byte for byte.
std::string preview(const Arguments& arguments, const Places& places);

} // namespace orvel::Commands
