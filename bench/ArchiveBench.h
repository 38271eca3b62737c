#pragma once
// The packing of a folder, for a process of its own too.

#include <string>

namespace orvel::bench {

/// Packs the folder as it would be handed to ChatGPT, and removes the ZIP.
void packFolder(const std::string& folder);

} // namespace orvel::bench
