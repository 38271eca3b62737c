#include "OrvelCore/files/FileReading.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr std::string_view reading = "read";

Date contentDate(const struct stat& facts) {
#ifdef __APPLE__
    return dateFromUnixTime(facts.st_mtimespec);
#else
    return dateFromUnixTime(facts.st_mtim);
#endif
}

// Calls `readFrom` with what is done so far, until all is there or the file ends.
template <typename Read>
std::size_t readAll(std::size_t count, const std::string& path, const Read& readFrom) {
    std::size_t done = 0;
    while (done < count) {
        const auto got = readFrom(done);
        if (got == 0) break;
        if (got > 0)
            done += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            throw FileError::fromErrno(errno, reading, path);
    }
    return done;
}

} // namespace

ReadableFile::ReadableFile(const std::string& path) : path(path) {
    if (path.find('\0') != path.npos)
        throw FileError(FileError::Case::invalidFileName, reading, path, "The file name is not valid");
    // Without O_NONBLOCK the opening of a FIFO would wait for a writer.
    descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) throw FileError::fromErrno(errno, reading, path);
    struct stat facts {};
    std::optional<FileError> failure;
    if (fstat(descriptor, &facts) != 0)
        failure = FileError::fromErrno(errno, reading, path);
    else if (S_ISDIR(facts.st_mode))
        failure = FileError(FileError::Case::isFolder, reading, path, "It is a folder");
    else if (!S_ISREG(facts.st_mode))
        failure = FileError(FileError::Case::notRegular, reading, path, "It is not a regular file");
    if (failure) {
        close(descriptor);
        throw FileError(*failure);
    }
    byteCount = static_cast<std::uint64_t>(facts.st_size);
    modified = contentDate(facts);
}

ReadableFile::~ReadableFile() {
    close(descriptor);
}

std::size_t ReadableFile::read(char* buffer, std::size_t count) {
    return readAll(count, path,
                   [&](std::size_t done) { return ::read(descriptor, buffer + done, count - done); });
}

std::string ReadableFile::end(std::size_t most) const {
    std::string bytes(std::min<std::uint64_t>(byteCount, most), '\0');
    const auto begin = byteCount - bytes.size();
    bytes.resize(readAll(bytes.size(), path, [&](std::size_t done) {
        return pread(descriptor, bytes.data() + done, bytes.size() - done, static_cast<off_t>(begin + done));
    }));
    return bytes;
}

void ReadableFile::rewind() {
    if (lseek(descriptor, 0, SEEK_SET) != 0) throw FileError::fromErrno(errno, reading, path);
}

bool ReadableFile::holdsStill() {
    // A file system without such locks has no writer that waits for one.
    if (flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
    struct stat opened {
    }, there{};
    return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &there) == 0 &&
           opened.st_dev == there.st_dev && opened.st_ino == there.st_ino;
}

std::optional<FileBytes> FileBytes::read(ReadableFile& file, std::size_t limit) {
    // One byte more than expected, so that the end of an unchanged file shows in the first read.
    std::size_t capacity = std::min(static_cast<std::size_t>(file.size()), limit) + 1;
    FileBytes result;
    result.bytes = std::make_unique_for_overwrite<char[]>(capacity + padding);
    for (;;) {
        result.count += file.read(result.bytes.get() + result.count, capacity - result.count);
        if (result.count > limit) return std::nullopt;
        if (result.count < capacity) break;
        capacity = std::min(2 * capacity, limit + 1);
        auto larger = std::make_unique_for_overwrite<char[]>(capacity + padding);
        std::memcpy(larger.get(), result.bytes.get(), result.count);
        result.bytes = std::move(larger);
    }
    std::memset(result.bytes.get() + result.count, 0, padding);
    return result;
}

std::string readFile(const std::string& path, std::size_t limit) {
    ReadableFile file(path);
    const auto bytes = file.size() <= limit ? FileBytes::read(file, limit) : std::nullopt;
    if (!bytes) throw FileError(FileError::Case::tooLarge, reading, path, "The file is too large");
    return std::string(bytes->view());
}

bool fileExists(const std::string& path) {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0;
}

std::string resolvedPath(const std::string& path) {
    std::error_code error;
    const auto resolved = std::filesystem::weakly_canonical(path, error);
    return standardizedPath(error ? path : resolved.string());
}

std::string PathResolver::target(const std::string& path) {
    struct stat facts {};
    std::string resolved;
    if (lstat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        resolved = resolvedPath(path);
    } else {
        const auto folder = parentFolder(path);
        auto known = folders.find(folder);
        if (known == folders.end())
            known = folders.emplace(std::string(folder), resolvedPath(std::string(folder))).first;
        resolved = joinedPath(known->second, lastPathComponent(path));
    }
    return resolved == path ? std::string() : resolved;
}

bool isReadableFile(const std::string& path) {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0 && !S_ISDIR(facts.st_mode) && access(path.c_str(), R_OK) == 0;
}

} // namespace orvel
