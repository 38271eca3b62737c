#pragma once
// Work that is measured in a process of its own: other programs, and this one where its peak memory counts.

#include <string>
#include <vector>

namespace orvel::bench {

/// What the program writes on standard output. Throws std::runtime_error if it cannot be run or fails.
std::string outputOf(const std::vector<std::string>& command);

/// The path of this program.
std::string thisProgram();

/// The most memory that this process ever held, in bytes.
double peakMemory();

} // namespace orvel::bench
