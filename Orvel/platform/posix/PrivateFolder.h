#pragma once
// Folders of Orvel's own, which only their owner may enter.

#include <string>
#include <string_view>

namespace orvel {

/// Makes the folder and those above it where they are missing. Throws FileError, worded for `action`, as in
/// "save". The path is standardised.
void makePrivateFolder(const std::string& folder, std::string_view action);

} // namespace orvel
