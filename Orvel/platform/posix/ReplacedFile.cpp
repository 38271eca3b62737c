#include "Orvel/platform/posix/ReplacedFile.h"

#include "Orvel/platform/posix/Leftovers.h"
#include "Orvel/platform/posix/PrivateFolder.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr std::string_view saving = "save";
constexpr std::size_t blockSize = 1U << 20U;

// Opens what is no link, and never waits.
Descriptor opened(const std::string& name, int mode) {
    return Descriptor(open(name.c_str(), mode | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
}

bool exchangeNames([[maybe_unused]] const std::string& one, [[maybe_unused]] const std::string& two) {
#if defined(__APPLE__)
    return renamex_np(one.c_str(), two.c_str(), RENAME_SWAP) == 0;
#elif defined(RENAME_EXCHANGE)
    return renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, two.c_str(), RENAME_EXCHANGE) == 0;
#else
    return false;
#endif
}

// Up to a block from there on; short where the file ends or can't be read.
std::string_view readBlock(const Descriptor& file, std::size_t at, std::vector<char>& buffer) {
    buffer.resize(blockSize);
    std::size_t done = 0;
    while (done < blockSize) {
        const auto got =
            pread(file.get(), buffer.data() + done, blockSize - done, static_cast<off_t>(at + done));
        if (got > 0)
            done += static_cast<std::size_t>(got);
        else if (got == 0 || errno != EINTR)
            break;
    }
    return {buffer.data(), done};
}

bool holds(const Descriptor& file, std::string_view bytes) {
    std::vector<char> buffer;
    for (std::size_t at = 0; at < bytes.size(); at += blockSize)
        if (readBlock(file, at, buffer) != bytes.substr(at, blockSize)) return false;
    return true;
}

} // namespace

// A file beside the target, which vanishes unless it is kept.
class ReplacedFile::NewFile {
  public:
    explicit NewFile(const std::string& target)
        : name(std::string(target).append(standbyMark).append(randomPart)),
          descriptor(mkostemp(name.data(), O_CLOEXEC)) {
        if (!descriptor) throw FileError::fromErrno(errno, saving, target);
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        if (!isKept) unlink(name.c_str());
    }

    void keep() { isKept = true; }

    std::string name;
    Descriptor descriptor;

  private:
    bool isKept = false;
};

ReplacedFile::ReplacedFile(std::string path, Gate gate)
    : path(std::move(path)), folder(parentFolder(this->path)), gate(std::move(gate)) {}

ReplacedFile::~ReplacedFile() {
    dropStandby();
}

void ReplacedFile::replace(const std::shared_ptr<FileContents>& contents) {
    const auto openedFolder = openFolder();
    auto file = openStandby();
    auto tail = contents->tail(file ? standby->held.contents.get() : nullptr);
    if (file && tail.from > 0 && !replaceByStandby(file, tail, contents)) tail = contents->tail(nullptr);
    if (tail.from == 0) {
        file.close();
        dropStandby();
        replaceWhole(tail.bytes, contents);
    }
    syncFolder(openedFolder);
}

void ReplacedFile::expect(const std::shared_ptr<FileContents>& contents) try {
    const auto file = opened(path, O_RDONLY);
    const auto facts = Facts::of(file);
    if (current || !facts || facts->size < standbySize) return;
    const auto bytes = contents->tail(nullptr).bytes;
    if (bytes.size() == facts->size && holds(file, bytes) && Facts::of(file) == facts)
        current = Held{*facts, contents};
} catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
    // Then the first replacement writes everything.
}

void ReplacedFile::makeStandby() try {
    if (!lacksStandby()) return;
    const auto source = opened(path, O_RDONLY);
    if (Facts::of(source) != current->facts) return current.reset();
    NewFile copy(path);
    std::vector<char> buffer;
    for (std::size_t at = 0; at < current->facts.size; at += blockSize)
        write(copy.descriptor, readBlock(source, at, buffer), at);
    const auto facts = sync(copy.descriptor);
    if (facts.size != current->facts.size || Facts::of(source) != current->facts) return;
    copy.keep();
    standby = Standby{copy.name, {facts, current->contents}};
} catch (const FileError&) { // NOLINT(bugprone-empty-catch)
    // Then the next replacement writes everything.
}

Descriptor ReplacedFile::openFolder() {
    makePrivateFolder(folder, saving);
    Descriptor openedFolder(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!openedFolder) throw FileError::fromErrno(errno, saving, folder);
    return openedFolder;
}

// Locked, or nothing if it is in doubt.
Descriptor ReplacedFile::openStandby() {
    if (!standby) return {};
    auto file = opened(standby->name, O_RDWR);
    if (file && Facts::of(file) == standby->held.facts && flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        return file;
    dropStandby();
    return {};
}

// It is never cut outside of a replacement: where the names did not reach the disk, it may still be the file
// to which the path leads there.
void ReplacedFile::dropStandby() {
    if (standby) unlink(standby->name.c_str());
    standby.reset();
}

bool ReplacedFile::replaceByStandby(const Descriptor& file, const FileContents::Tail& tail,
                                    const std::shared_ptr<FileContents>& contents) try {
    if (!allows(Step::cut) || ftruncate(file.get(), static_cast<off_t>(tail.from)) != 0) fail();
    write(file, tail.bytes, tail.from);
    const auto facts = sync(file);
    // Complete: whoever opens it as soon as the path leads here may read it.
    flock(file.get(), LOCK_UN);
    takePlace(standby->name, {facts, contents});
    return true;
} catch (const FileError&) {
    dropStandby();
    return false;
}

void ReplacedFile::replaceWhole(std::string_view bytes, const std::shared_ptr<FileContents>& contents) {
    NewFile file(path);
    write(file.descriptor, bytes, 0);
    const auto facts = sync(file.descriptor);
    takePlace(file.name, {facts, contents});
    file.keep();
}

// Leaves the file that was there as the standby if it is known.
void ReplacedFile::takePlace(const std::string& name, Held held) {
    const bool isLarge = held.facts.size >= standbySize;
    if (isLarge && current && Facts::of(path) == current->facts && allows(Step::exchange) &&
        exchangeNames(name, path)) {
        standby = Standby{name, std::move(*current)};
    } else {
        if (!allows(Step::rename) || rename(name.c_str(), path.c_str()) != 0) fail();
        standby.reset();
        current.reset();
    }
    if (isLarge) current = std::move(held);
}

// The new contents stand already: a disk that refuses now has still the old file or the new one.
void ReplacedFile::syncFolder(const Descriptor& opened) {
    if (!allows(Step::syncFolder) || fsync(opened.get()) != 0) dropStandby();
}

bool ReplacedFile::allows(Step step) const {
    if (!gate || gate(step)) return true;
    errno = EIO;
    return false;
}

void ReplacedFile::write(const Descriptor& file, std::string_view bytes, std::size_t at) const {
    while (!bytes.empty()) {
        if (!allows(Step::write)) fail();
        const auto done =
            pwrite(file.get(), bytes.data(), std::min(bytes.size(), blockSize), static_cast<off_t>(at));
        if (done < 0 && errno != EINTR) fail();
        if (done <= 0) continue;
        bytes.remove_prefix(static_cast<std::size_t>(done));
        at += static_cast<std::size_t>(done);
    }
}

ReplacedFile::Facts ReplacedFile::sync(const Descriptor& file) const {
    if (!allows(Step::syncFile) || fsync(file.get()) != 0) fail();
    const auto facts = Facts::of(file);
    if (!facts) throw FileError(FileError::Case::other, saving, path, "Another program changed its folder");
    return *facts;
}

void ReplacedFile::fail() const {
    throw FileError::fromErrno(errno, saving, path);
}

namespace {

template <typename Facts>
std::optional<Facts> factsFrom(const struct stat& facts) {
    if (!S_ISREG(facts.st_mode) || facts.st_nlink != 1) return std::nullopt;
#ifdef __APPLE__
    const auto& modified = facts.st_mtimespec;
#else
    const auto& modified = facts.st_mtim;
#endif
    return Facts{static_cast<std::uint64_t>(facts.st_dev), static_cast<std::uint64_t>(facts.st_ino),
                 static_cast<std::uint64_t>(facts.st_size), modified.tv_sec, modified.tv_nsec};
}

} // namespace

std::optional<ReplacedFile::Facts> ReplacedFile::Facts::of(const Descriptor& file) {
    struct stat facts {};
    return file && fstat(file.get(), &facts) == 0 ? factsFrom<Facts>(facts) : std::nullopt;
}

std::optional<ReplacedFile::Facts> ReplacedFile::Facts::of(const std::string& name) {
    struct stat facts {};
    return lstat(name.c_str(), &facts) == 0 ? factsFrom<Facts>(facts) : std::nullopt;
}

} // namespace orvel
