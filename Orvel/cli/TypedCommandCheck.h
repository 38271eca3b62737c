#pragma once
// The command that says what Orvel makes of a text as the typed command.

#include "Orvel/cli/Arguments.h"

namespace orvel {

class Output;
class Stylist;

/// Prints how the text is classified and, if it is the command, its instructions; with `arguments.json` as
/// JSON. Without `arguments.text` the text is all that standard input gives. Throws Failure if it cannot be
/// read.
void checkTypedCommand(const Arguments& arguments, Output& output, const Stylist& stylist);

} // namespace orvel
