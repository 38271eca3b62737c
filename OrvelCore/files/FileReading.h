#pragma once
// Reading files that other programs own: always bounded, never blocked by a FIFO or a device, and with the
// system's own error as a FileError.

#include "OrvelCore/text/Date.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// A regular file that is open for reading. Folders, FIFOs, sockets and devices are refused.
class ReadableFile {
  public:
    /// Opens the file, following links. Throws FileError.
    explicit ReadableFile(const std::string& path);
    ~ReadableFile();
    ReadableFile(const ReadableFile&) = delete;
    ReadableFile& operator=(const ReadableFile&) = delete;

    /// Size in bytes when the file was opened.
    std::uint64_t size() const { return byteCount; }
    /// Date of the last change of the contents when the file was opened.
    Date modifiedAt() const { return modified; }

    /// Keeps Orvel's writers from changing the file in place while it is open here, as they may once another
    /// file has taken its place. False if that has begun or its path leads elsewhere by now: open it again.
    bool holdsStill();

    /// Reads the next bytes into `buffer` until `count` are read or the file ends; gives how many. Throws
    /// FileError.
    std::size_t read(char* buffer, std::size_t count);

    /// Begins again with the first byte. Throws FileError.
    void rewind();

    /// The last bytes of the file as it was when it was opened, `most` or as many as there are. Does not move
    /// the place of `read`. Throws FileError.
    std::string end(std::size_t most) const;

  private:
    std::string path;
    int descriptor;
    std::uint64_t byteCount = 0;
    Date modified = 0;
};

/// The bytes of a file, with `padding` readable bytes behind them, which some parsers want.
class FileBytes {
  public:
    static constexpr std::size_t padding = 64;

    /// All bytes of the file from its current position, or nothing if there are more than `limit`. A file
    /// that grows meanwhile is read to its end. Throws FileError.
    static std::optional<FileBytes> read(ReadableFile& file, std::size_t limit);

    std::string_view view() const { return {bytes.get(), count}; }

  private:
    std::unique_ptr<char[]> bytes;
    std::size_t count = 0;
};

/// All bytes of the file. Throws FileError, with the case `tooLarge` for more than `limit` bytes.
std::string readFile(const std::string& path, std::size_t limit);

/// Whether something lies at `path`; a link that leads nowhere counts as nothing.
bool fileExists(const std::string& path);

/// The standardised path with links followed as far as something lies there.
std::string resolvedPath(const std::string& path);

/// Follows the links in one path after the other, and asks only once where a folder leads.
class PathResolver {
  public:
    /// `resolvedPath`, and empty if that is `path` itself, which is standardised.
    std::string target(const std::string& path);

  private:
    std::map<std::string, std::string, std::less<>> folders;
};

/// Whether a file that is no folder lies at `path` and may be read.
bool isReadableFile(const std::string& path);

} // namespace orvel
