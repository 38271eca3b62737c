#pragma once
// The command that says what Orvel makes of Codex's keybindings.

#include "Orvel/cli/Arguments.h"

namespace orvel {

class Output;
class Stylist;

/// Prints how the file is judged, with `arguments.json` as JSON. A file that does not exist is judged too,
/// with a word on standard error. Throws Failure if the file cannot be read.
void checkKeybindings(const Arguments& arguments, Output& output, const Stylist& stylist);

} // namespace orvel
