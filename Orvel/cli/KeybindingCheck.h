#pragma once
// The command that says what Orvel makes of Codex's keybindings.

#include "Orvel/cli/Arguments.h"

#include <optional>
#include <string>

namespace orvel {

class Output;
class Stylist;

/// Why Orvel can't have Codex copy a conversation's address with these keybindings, in a sentence; nothing if
/// it can. A file that does not exist is judged too. Throws Failure if the file cannot be read.
std::optional<std::string> obstacleToCopying(const std::string& path);

/// Prints how the file is judged, with `arguments.json` as JSON. A file that does not exist is judged too,
/// with a word on standard error. Throws Failure if the file cannot be read.
void checkKeybindings(const Arguments& arguments, Output& output, const Stylist& stylist);

} // namespace orvel
