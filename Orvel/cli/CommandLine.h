#pragma once
// The command line of Orvel as a function: arguments in, two streams and an exit status out.

#include <span>
#include <string>

namespace orvel {

class Output;

/// Runs the command that the arguments behind the program's name ask for and gives the exit status: 0, 1 for
/// a failure, 2 for wrong usage, 128 and the number of the signal that broke it off. Reads the environment of
/// the process. Writes to `output` alone, except that a sample makes a temporary folder and removes it.
int runCommandLine(std::span<const std::string> arguments, Output& output);

} // namespace orvel
