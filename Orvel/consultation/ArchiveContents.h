#pragma once
// What went into a repository's archive, what was left out and why, and how far its making has come.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

struct PackedFile {
    std::string path;       ///< Below the chosen folder.
    std::uint64_t size = 0; ///< In bytes.

    bool operator==(const PackedFile&) const = default;
};

/// A path below the chosen folder that the archive does not hold.
struct LeftOutPath {
    enum class Reason {
        excludedName,     ///< A rule for secrets and systems' files.
        link,             ///< It is a symbolic link, lies behind one, or leads out of the folder.
        nestedRepository, ///< A repository of its own, such as a submodule.
        missing,          ///< It is tracked, and was deleted.
        notRegular,       ///< A FIFO, a socket or a device.
        unreadable,       ///< It can't be looked at, or a folder can't be listed.
        invalidPath       ///< No plain path below the folder.
    };

    std::string path;
    Reason reason;

    bool operator==(const LeftOutPath&) const = default;
};

/// The reason for programs, as "excludedName".
std::string_view nameOf(LeftOutPath::Reason reason);

/// The reason for people, as in: its name ends in “.pem”.
std::string describe(const LeftOutPath& leftOut);

struct ArchiveContents {
    std::vector<PackedFile> packed;   ///< In the order of their paths.
    std::vector<LeftOutPath> leftOut; ///< The same.
    /// Folders that were not entered, so that nobody knows what they hold. Where git lists the files there
    /// are none.
    std::vector<LeftOutPath> skippedFolders;
    bool isListedByGit = false; ///< Then ignored files are not among all these.
};

struct ArchiveProgress {
    enum class Phase { listing, copying, zipping, checking };

    Phase phase = Phase::listing;
    std::uint64_t paths = 0; ///< Found so far, in the end all.
    std::uint64_t files = 0; ///< Copied so far.
    std::uint64_t bytes = 0; ///< Of these.

    bool operator==(const ArchiveProgress&) const = default;
};

} // namespace orvel
