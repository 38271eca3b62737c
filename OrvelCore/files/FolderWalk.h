#pragma once
// The files below a folder, as the catalogue looks for them.

#include <functional>
#include <string>

namespace orvel {

/// Calls `visit` with the path of every file below `root`, in no particular order. Names that begin with a
/// dot are left out, files and folders alike. Links to folders are not followed, except that `root` itself
/// may be one; links to files are visited. What cannot be listed is passed over, and so is a name that is no
/// valid UTF-8, since no record could hold it. Only one folder is open at a time, so depth is bounded by the
/// system's path length alone.
void walkFolder(const std::string& root, const std::function<void(const std::string& path)>& visit);

} // namespace orvel
