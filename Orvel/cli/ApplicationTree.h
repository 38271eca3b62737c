#pragma once
// The command that tells what the interface of an application looks like, without what stands in it.

#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/TreeShape.h"
#include "Orvel/platform/posix/Places.h"

#include <string>

namespace orvel {

class Output;

/// As lines of text.
std::string linesOf(const TreeShape& tree);
/// As a line of JSON.
std::string jsonOf(const TreeShape& tree);

/// Prints the tree of `arguments.tree`, which is "codex", "claude" or "dia". Throws CommandFailure and
/// Interrupted.
void showApplicationTree(const Arguments& arguments, const Places& places, Output& output);

} // namespace orvel
