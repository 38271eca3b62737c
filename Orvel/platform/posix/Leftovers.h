#pragma once
// Files that a killed save left beside the file it was to replace.

#include <string>
#include <string_view>

namespace orvel {

/// Between a file's name and the random part of a name beside it.
inline constexpr std::string_view standbyMark = ".standby-";
inline constexpr std::string_view randomPart = "XXXXXX";

/// Removes them. Only for the one who may write the folder, and before it writes. What may be a person's
/// stays: another name, another owner, no plain file, a second name.
void removeLeftovers(const std::string& path);

} // namespace orvel
