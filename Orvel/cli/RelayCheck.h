#pragma once
// The command that looks into a file of relay records.

#include "Orvel/cli/Arguments.h"

namespace orvel {

class Output;
class Stylist;

/// Prints what the file holds, and with `arguments.json` its state written again instead. Throws Failure if
/// the file cannot be read, and, after printing, if its records break a rule; not with `arguments.json`.
void checkRelayRecords(const Arguments& arguments, Output& output, const Stylist& stylist);

} // namespace orvel
