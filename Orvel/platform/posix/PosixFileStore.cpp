#include "Orvel/platform/posix/PosixFileStore.h"

#include "Orvel/platform/posix/PrivateFolder.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr std::string_view saving = "save";

[[noreturn]] void fail(const std::string& path) {
    throw FileError::fromErrno(errno, saving, path);
}

// A file under a name of its own, which vanishes unless it takes the place of another.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string target)
        : target(std::move(target)),
          name(this->target + ".XXXXXX"),
          descriptor(mkostemp(name.data(), O_CLOEXEC)) {
        if (descriptor < 0) fail(this->target);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (descriptor >= 0) close(descriptor);
        if (!name.empty()) unlink(name.c_str());
    }

    void write(std::string_view contents) {
        while (!contents.empty()) {
            const auto done = ::write(descriptor, contents.data(), contents.size());
            if (done < 0 && errno != EINTR) fail(target);
            if (done > 0) contents.remove_prefix(static_cast<std::size_t>(done));
        }
        if (fsync(descriptor) != 0) fail(target);
        if (close(std::exchange(descriptor, -1)) != 0) fail(target);
    }

    void takePlace() {
        if (rename(name.c_str(), target.c_str()) != 0) fail(target);
        name.clear();
    }

  private:
    std::string target, name;
    int descriptor;
};

// A folder held open, so that its entries can be sent to the disk.
class OpenFolder {
  public:
    explicit OpenFolder(const std::string& folder)
        : descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (descriptor < 0) fail(folder);
    }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;
    ~OpenFolder() { close(descriptor); }

    /// Called when the new file stands already: a disk that refuses now has still the old one or the new one.
    void sync() const { fsync(descriptor); }

  private:
    int descriptor;
};

} // namespace

void PosixFileStore::replaceFile(const std::string& path, std::string_view contents) {
    if (path.find('\0') != path.npos)
        throw FileError(FileError::Case::invalidFileName, saving, path, "The file name is not valid");
    const auto target = standardizedPath(path);
    const std::string folder(parentFolder(target));
    makePrivateFolder(folder, saving);
    const OpenFolder openFolder(folder);
    TemporaryFile file(target);
    file.write(contents);
    file.takePlace();
    openFolder.sync();
}

} // namespace orvel
