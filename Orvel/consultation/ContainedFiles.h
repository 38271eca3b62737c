#pragma once
// Looks at files below a folder and reads them without ever following a link, so that nothing from elsewhere
// can take their place, whenever it is put there. For any thread.

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace orvel {

/// The path of a folder with its links resolved, standardised. Throws RelaySendError if no folder lies there.
std::string chosenFolder(const std::string& path);

/// Whether neither the path below `root` nor anything above it down from there is a symbolic link, and all of
/// it lies within `root`, which is resolved.
bool hasNoSymlinkComponents(const std::string& path, const std::string& root);

/// The bytes of a regular file below the folder, opened component by component. Throws RelaySendError, also
/// for more than `limit` bytes and if another folder has taken the folder's place; FileError if reading
/// fails; and PreparationStopped soon after `stop`.
std::string readRegularFile(const std::string& path, const std::string& root, std::uint64_t limit,
                            const std::atomic<bool>& stop);

struct FileDigest {
    std::uint64_t size = 0; ///< In bytes.
    std::string sha256;     ///< Lower-case hexadecimal digits.
};

/// Of a regular file, read through no link; where a size is expected, nothing is read of a file of another
/// one. Nothing if there is no such file. Throws FileError if reading fails.
std::optional<FileDigest> digestOf(const std::string& path, std::optional<std::uint64_t> expectedSize);

} // namespace orvel
