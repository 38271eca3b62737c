#pragma once
// The relay records as the terminal shows them. Nothing here writes or locks.

#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/platform/posix/Places.h"
#include "OrvelCore/relay/RelayState.h"

#include <string>
#include <string_view>

namespace orvel {

/// "Codex → Claude".
std::string directionOf(const RelayTransfer& transfer);

/// The records as the file holds them now; none if there is no file. Throws Failure.
RelayState savedRecords(const Places& places);

namespace RelayRecords {

/// Each gives the whole of its standard output, and throws Failure with words for the user.
std::string links(const Arguments& arguments, const Places& places, const Stylist& stylist);
std::string pending(const Arguments& arguments, const Places& places, const Stylist& stylist);

/// The saved message of the link, or the saved first message, byte for byte.
std::string savedMessage(const Arguments& arguments, const Places& places);

} // namespace RelayRecords
} // namespace orvel
