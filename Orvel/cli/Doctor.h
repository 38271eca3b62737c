#pragma once
// The command that looks whether everything that Orvel needs is there.

#include "Orvel/cli/Arguments.h"
#include "Orvel/platform/posix/Places.h"

namespace orvel {

class Output;
class Stylist;

/// Prints the findings, with `arguments.json` as JSON, and gives whether all of it works that was tried. Only
/// reads, but for a Return that `arguments.tryKeyboard` has held for a moment. Throws Interrupted.
bool examineDesktop(const Arguments& arguments, const Places& places, Output& output, const Stylist& stylist);

} // namespace orvel
