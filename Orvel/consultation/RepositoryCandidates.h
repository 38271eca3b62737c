#pragma once
// Which files of a folder may go into its archive: in a git work tree those that git tracks or would offer,
// elsewhere all that lie there.

#include "Orvel/consultation/ArchiveContents.h"
#include "Orvel/desktop/Processes.h"
#include "Orvel/desktop/ZipArchives.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <memory>
#include <string>
#include <vector>

namespace orvel {

struct RepositoryCandidates {
    std::vector<std::string> paths;          ///< Below the folder, in the order of their bytes, each once.
    std::vector<LeftOutPath> skippedFolders; ///< As `ArchiveContents` has them.
    bool isListedByGit = false;
};

/// Asks git, which runs nothing that the folder's own settings name, or walks. The folder is resolved; the
/// ports outlive the task. Throws RelaySendError, ProcessError if git is there and can't be started, and
/// PreparationStopped soon after `stop`.
Task<std::shared_ptr<const RepositoryCandidates>> candidatePaths(MainLoop& loop, Processes& processes,
                                                                 std::string folder, StopFlag stop);

} // namespace orvel
