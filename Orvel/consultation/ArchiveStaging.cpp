#include "Orvel/consultation/ArchiveStaging.h"

#include "Orvel/runtime/Random.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

namespace fs = std::filesystem;

constexpr const char* copies = "repository";
constexpr std::size_t uuidSize = 36;

// Who may write a folder may exchange what lies in it, unless that is reserved to the owners.
void requireOwnFolder(const std::string& folder) {
    struct stat facts {};
    if (stat(folder.c_str(), &facts) != 0) throw FileError::fromErrno(errno, "use", folder);
    const bool isOpen = (facts.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (facts.st_mode & S_ISVTX) == 0;
    if ((facts.st_uid != geteuid() && facts.st_uid != 0) || isOpen)
        throw FileError(FileError::Case::noPermission, "use", folder, "Others may write there");
}

int lockedFolder(const std::string& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY | O_NOFOLLOW);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    if (descriptor >= 0) close(descriptor);
    return -1;
}

bool isUUID(std::string_view name) {
    return name.size() == uuidSize && name.find_first_not_of("0123456789ABCDEF-") == name.npos;
}

// One with copies whose lock is free was left by a process that is gone: they are made after the lock is
// taken and removed before it is given up.
void removeAbandoned(const std::string& outputFolder) {
    std::error_code ignored;
    for (fs::directory_iterator entry(outputFolder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        const auto& folder = entry->path();
        std::error_code unknown;
        if (!isUUID(folder.filename().native()) || !fs::exists(fs::symlink_status(folder / copies, unknown)))
            continue;
        const int lock = lockedFolder(folder.native());
        if (lock < 0) continue;
        struct stat facts {};
        if (fstat(lock, &facts) == 0 && facts.st_uid == geteuid()) fs::remove_all(folder, unknown);
        close(lock);
    }
}

} // namespace

ArchiveStaging::ArchiveStaging(const std::string& outputFolder)
    : folder(joinedPath(outputFolder, randomUUID())) {
    std::error_code error;
    fs::create_directories(parentFolder(outputFolder), error);
    if (mkdir(outputFolder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throw FileError::fromErrno(errno, "make", outputFolder);
    requireOwnFolder(outputFolder);
    removeAbandoned(outputFolder);
    if (mkdir(folder.c_str(), S_IRWXU) != 0) throw FileError::fromErrno(errno, "make", folder);
    lock = lockedFolder(folder);
    if (lock < 0 || mkdir(repository().c_str(), S_IRWXU) != 0) {
        const int code = errno;
        remove();
        throw FileError::fromErrno(code, "make", folder);
    }
}

ArchiveStaging::~ArchiveStaging() {
    if (lock >= 0) close(lock);
}

std::string ArchiveStaging::repository() const {
    return joinedPath(folder, copies);
}

std::string ArchiveStaging::zip() const {
    return joinedPath(folder, "orvel-" + inLowerCase(lastPathComponent(folder)) + ".zip");
}

void ArchiveStaging::write(const std::string& path, std::string_view bytes) const {
    const auto file = joinedPath(repository(), path);
    std::error_code error;
    fs::create_directories(parentFolder(file), error);
    if (error) throw FileError::fromErrno(error.value(), "copy", path);
    errno = 0;
    std::ofstream copy(file, std::ios::binary);
    copy << bytes;
    copy.close();
    if (!copy) throw FileError::fromErrno(errno ? errno : EIO, "copy", path);
}

void ArchiveStaging::removeRepository() const {
    std::error_code error;
    fs::remove_all(repository(), error);
    if (error) throw FileError::fromErrno(error.value(), "remove", repository());
}

void ArchiveStaging::remove() const noexcept {
    constexpr int attempts = 3; // Somebody who works there still may add a file meanwhile.
    std::error_code ignored;
    for (int i = 0; i < attempts && fs::exists(fs::symlink_status(folder, ignored)); ++i)
        fs::remove_all(folder, ignored);
}

std::string ArchiveStaging::usualOutputFolder() {
    std::error_code error;
    auto temporary = fs::temp_directory_path(error);
    const auto usual = joinedPath(error ? "/tmp" : temporary.native(), "orvel-chatgpt");
    struct stat facts {};
    const bool isOthers = lstat(usual.c_str(), &facts) == 0 && facts.st_uid != geteuid();
    return isOthers ? usual + "-" + std::to_string(geteuid()) : usual;
}

} // namespace orvel
