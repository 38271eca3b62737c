#pragma once
// Where the program lies that stands in for `codex`.

#include <optional>
#include <string>

namespace orvel {

/// The path of orvel-sample-codex: beside the running program, in the folder above it, or where an
/// installation puts it. Nothing if it is in none of these places.
std::optional<std::string> sampleCodexProgram();

} // namespace orvel
