#include "Orvel/platform/posix/DataFolderLock.h"

#include "Orvel/platform/posix/Leftovers.h"
#include "Orvel/platform/posix/PrivateFolder.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr std::string_view locking = "lock";

// Neither waits for a FIFO nor follows a link. A file that can't be written can still be locked.
Descriptor opened(const std::string& path) {
    constexpr int always = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int number = open(path.c_str(), O_RDWR | O_CREAT | always, 0600);
    if (const int refused = errno; number < 0 && (refused == EACCES || refused == EROFS)) {
        number = open(path.c_str(), O_RDONLY | always);
        if (number < 0 && errno == ENOENT)
            errno = refused; // That it can't be made is what stands in the way.
    }
    if (number < 0) throw FileError::fromErrno(errno, locking, path);
    return Descriptor(number);
}

// The file says "PROGRAM PROCESS", as in "orvel-cli 123", and is empty while nobody holds it.

// The lock holds whether or not the disk takes this.
void writeHolder(const Descriptor& file, std::string_view text) {
    [[maybe_unused]] const bool isWritten =
        ftruncate(file.get(), 0) == 0 && pwrite(file.get(), text.data(), text.size(), 0) >= 0;
}

bool isProgramName(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    });
}

// Nothing where the file names no program that runs.
std::optional<std::string> holder(const Descriptor& file) {
    char bytes[100];
    const auto count = pread(file.get(), bytes, sizeof bytes, 0);
    std::string_view text(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    if (!text.ends_with('\n')) return std::nullopt;
    text.remove_suffix(1);
    const auto name = text.substr(0, text.find(' '));
    const auto number = text.substr(std::min(text.size(), name.size() + 1));
    pid_t process = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), process);
    if (error != std::errc() || end != number.data() + number.size() || process <= 0) return std::nullopt;
    if (!isProgramName(name)) return std::nullopt;
    // The name of one that crashed stands until the next holder has written its own.
    if (::kill(process, 0) != 0 && errno == ESRCH) return std::nullopt;
    return std::string(name) + " (process " + std::to_string(process) + ")";
}

} // namespace

DataFolderLock::DataFolderLock(const std::string& dataFolder, std::string_view program) {
    makePrivateFolder(dataFolder, locking);
    const auto path = joinedPath(dataFolder, "lock");
    file = opened(path);
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) throw FileError::fromErrno(errno, locking, path);
        throw DataFolderInUse("Orvel's data in “" + displayable(dataFolder) + "” is in use by " +
                              holder(file).value_or("another program") + ". Nothing was changed.");
    }
    writeHolder(file, std::string(program) + ' ' + std::to_string(getpid()) + '\n');
    for (const auto* name : {"relay-state.json", "recent-conversations.json"})
        removeLeftovers(joinedPath(dataFolder, name));
}

DataFolderLock::~DataFolderLock() {
    writeHolder(file, "");
}

} // namespace orvel
