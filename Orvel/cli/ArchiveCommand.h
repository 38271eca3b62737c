#pragma once
// The command that packs a folder as it would be handed to ChatGPT.

#include "Orvel/cli/Arguments.h"
#include "Orvel/consultation/ChatGPTRepositoryArchive.h"

#include <string>

namespace orvel {

class Output;
class Stylist;

/// Packs the folder that `arguments.subject` names, below `arguments.folder` where that is given, and prints
/// where the ZIP lies, what it comes to and what was left out, with `arguments.json` as JSON. Throws Failure,
/// and Interrupted behind a word on standard error; then no ZIP is left.
void packFolder(const Arguments& arguments, Output& output, const Stylist& stylist);

/// Packs the folder below the output folder, and may tell its progress on standard error. Throws as
/// `packFolder`.
ChatGPTRepositoryArchive packedFolder(const std::string& folder, const std::string& outputFolder,
                                      Output& output, bool tellsProgress);

/// What an archive comes to and what was left out, in lines for people.
std::string linesOf(const ChatGPTRepositoryArchive& archive, const Stylist& stylist);

} // namespace orvel
