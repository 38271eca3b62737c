#pragma once
// A folder chosen by the person as one ZIP that may be handed to a web page: no secrets by name, nothing by
// way of a link, 100 MB at most, and proved to hold exactly the files that were selected.

#include "Orvel/consultation/ArchiveContents.h"
#include "Orvel/desktop/Processes.h"
#include "Orvel/desktop/ZipArchives.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace orvel {

struct ChatGPTRepositoryArchive {
    /// What the files of a selection may come to, in bytes.
    static constexpr std::uint64_t sizeLimit = 104'857'600;

    /// The ports outlive the tasks that take them.
    struct Ports {
        MainLoop& loop;
        Processes& processes;
        ZipArchives& zipArchives;
    };

    /// How a preparation is watched and ended.
    struct Control {
        /// Called on the loop now and then; lets no exception out. May be empty.
        std::function<void(const ArchiveProgress&)> told;
        /// Ends the preparation soon where it is set.
        StopFlag stop = std::make_shared<std::atomic<bool>>(false);
    };

    std::string fileURL;      ///< Absolute path of the ZIP, in a folder of its own.
    std::string sourceFolder; ///< Of the chosen folder, links resolved.
    std::uint64_t fileCount = 0;
    std::uint64_t byteCount = 0; ///< Of the files together.
    std::uint64_t excludedCount = 0;
    std::string sha256; ///< Of the ZIP, in lower-case hexadecimal digits.
    std::uint64_t archiveByteCount = 0;
    /// What went in and what did not; never null after a preparation. `excludedCount` is the length of its
    /// `leftOut`.
    std::shared_ptr<const ArchiveContents> contents;

    /// Makes the ZIP in a new folder below `outputDirectory`, on other threads. Throws RelaySendError,
    /// FileError, or ProcessError; PreparationStopped soon after `control.stop` is set. Then the new folder
    /// is removed before the failure is told, and soon after the task is destroyed before its end.
    static Task<ChatGPTRepositoryArchive> prepare(Ports ports, std::string folder,
                                                  std::string outputDirectory, Control control);

    /// Ends if the ZIP is the one that was prepared, by its size and its digest, and otherwise throws
    /// RelaySendError; FileError if it can't be read. Reads it on another thread. This object may be gone
    /// meanwhile.
    Task<void> verifyUnchanged(MainLoop& loop) const;

    /// Removes the ZIP with its folder, on another thread, as far as possible.
    Task<void> discard(MainLoop& loop) const;

    /// Whether the path is left out for one of its names.
    static bool isExcluded(std::string_view path);
};

} // namespace orvel
