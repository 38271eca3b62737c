#include "Orvel/consultation/ContainedFiles.h"

#include "Orvel/consultation/PreparationStopped.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/relay/RelaySendError.h"
#include "OrvelCore/text/Digest.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr std::size_t chunkSize = 1'048'576;
constexpr std::size_t digestChunkSize = 131'072; // Stays near the processor until it is hashed.

class OpenFile {
  public:
    explicit OpenFile(int descriptor) : descriptor(descriptor) {}
    OpenFile(OpenFile&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    OpenFile& operator=(OpenFile&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~OpenFile() {
        if (descriptor >= 0) close(descriptor);
    }

    int number() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; }

  private:
    int descriptor;
};

// The file's next bytes, empty at its end.
std::string_view nextChunk(const OpenFile& file, std::span<char> buffer, const std::string& path) {
    ssize_t count = 0;
    do count = read(file.number(), buffer.data(), buffer.size());
    while (count < 0 && errno == EINTR);
    if (count < 0) throw FileError::fromErrno(errno, "read", path);
    return {buffer.data(), static_cast<std::size_t>(count)};
}

bool isLink(const std::string& path) {
    struct stat facts {};
    return lstat(path.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode);
}

std::string fullyResolved(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), &std::free);
    return resolved ? std::string(resolved.get()) : resolvedPath(path); // Which knows what is missing too.
}

// A folder on the way may be closed to listing.
#ifdef O_PATH
constexpr int passing = O_PATH | O_CLOEXEC | O_DIRECTORY | O_NOFOLLOW;
#else
constexpr int passing = O_RDONLY | O_CLOEXEC | O_DIRECTORY | O_NOFOLLOW;
#endif

// Below `folder`, the components of `path` that end with a slash, which are taken away from it. Nothing if
// one of them is no folder.
OpenFile openFolders(OpenFile folder, std::string_view& path) {
    for (auto slash = path.find('/'); folder && slash != path.npos; slash = path.find('/')) {
        folder = OpenFile(openat(folder.number(), std::string(path.substr(0, slash)).c_str(), passing));
        path.remove_prefix(slash + 1);
    }
    return folder;
}

// A resolved path holds no link, and one that has come there since is not followed either.
OpenFile openRoot(const std::string& root) {
    const auto whole = root.substr(1) + "/";
    std::string_view rest = whole;
    auto opened = openFolders(OpenFile(open("/", passing)), rest);
    if (!opened) throw RelaySendError("Couldn't open the selected folder.");
    return opened;
}

OpenFile openBelow(OpenFile root, std::string_view path) {
    const auto folder = openFolders(std::move(root), path);
    if (!folder) throw RelaySendError("The folder target changed during preparation.");
    // Without O_NONBLOCK the opening of a FIFO would wait for a writer.
    OpenFile file(openat(folder.number(), std::string(path).c_str(),
                         O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY));
    if (!file) throw RelaySendError("A file became unreadable during preparation.");
    return file;
}

} // namespace

std::string chosenFolder(const std::string& path) {
    auto folder = resolvedPath(path);
    struct stat facts {};
    if (lstat(folder.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode))
        throw RelaySendError("Choose a repository or folder.");
    return folder;
}

bool hasNoSymlinkComponents(const std::string& path, const std::string& root) {
    for (std::size_t end = 0; end != path.npos;) {
        end = path.find('/', end + 1);
        if (isLink(joinedPath(root, path.substr(0, end)))) return false;
    }
    return fullyResolved(joinedPath(root, path)).starts_with(root + "/");
}

std::string readRegularFile(const std::string& path, const std::string& root, std::uint64_t limit,
                            const std::atomic<bool>& stop) {
    const auto file = openBelow(openRoot(root), path);
    struct stat facts {};
    if (fstat(file.number(), &facts) != 0 || !S_ISREG(facts.st_mode))
        throw RelaySendError("Only regular files can be sent.");
    std::string bytes;
    bytes.reserve(std::min(static_cast<std::uint64_t>(std::max<off_t>(facts.st_size, 0)), limit));
    const auto buffer = std::make_unique_for_overwrite<char[]>(chunkSize);
    while (true) {
        PreparationStopped::check(stop);
        const auto chunk = nextChunk(file, {buffer.get(), chunkSize}, path);
        if (chunk.empty()) return bytes;
        if (bytes.size() + chunk.size() > limit)
            throw RelaySendError("The selection exceeds 100 MB. Choose a smaller folder.");
        bytes += chunk;
    }
}

std::optional<FileDigest> digestOf(const std::string& path, std::optional<std::uint64_t> expectedSize) {
    const OpenFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY));
    struct stat facts {};
    if (!file || fstat(file.number(), &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
    const auto size = static_cast<std::uint64_t>(facts.st_size);
    if (expectedSize && size != *expectedSize) return std::nullopt;
    const auto buffer = std::make_unique_for_overwrite<char[]>(digestChunkSize);
    SHA256Stream digest;
    FileDigest result;
    // One that grows meanwhile is not the same file any more, and its reading must end.
    while (result.size <= size) {
        const auto chunk = nextChunk(file, {buffer.get(), digestChunkSize}, path);
        if (chunk.empty()) break;
        digest.add(chunk);
        result.size += chunk.size();
    }
    result.sha256 = digest.hex();
    return result;
}

} // namespace orvel
