#include "Orvel/platform/posix/PosixLocalFiles.h"

#include "Orvel/platform/posix/Descriptor.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __APPLE__
#include <sys/mount.h>
#else
#include <sys/vfs.h>
#endif

namespace orvel {

namespace {

#ifdef __APPLE__
bool isLocal(const struct statfs& system) {
    return (system.f_flags & MNT_LOCAL) != 0;
}
#else
// The kinds of file systems behind which another machine or another program stands, as linux/magic.h and the
// sources of those that it leaves out number them.
constexpr std::array<std::uint32_t, 13> distantKinds{
    0x0187,     // autofs
    0x517B,     // SMB
    0x564C,     // NCP
    0x6969,     // NFS
    0x00C36400, // Ceph
    0x01021997, // 9P
    0x5346414F, // AFS
    0x65735546, // FUSE
    0x6B414653, // AFS of the kernel
    0x73757245, // Coda
    0x0BD00BD0, // Lustre
    0xFE534D42, // SMB 2
    0xFF534D42, // CIFS
};

bool isLocal(const struct statfs& system) {
    const auto kind = static_cast<std::uint32_t>(system.f_type);
    return std::find(distantKinds.begin(), distantKinds.end(), kind) == distantKinds.end();
}
#endif

// All bytes up to one more than `most`; nothing if they can't be read.
std::optional<std::string> bytesIn(int file, std::size_t most, const std::function<bool()>& isLate) {
    std::string bytes(most + 1, ' ');
    std::size_t count = 0;
    while (count <= most) {
        if (isLate()) return std::nullopt;
        const auto got = read(file, bytes.data() + count, bytes.size() - count);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return std::nullopt;
        if (got == 0) break;
        count += static_cast<std::size_t>(got);
    }
    bytes.resize(count);
    return bytes;
}

// A file that is not there has no file system of its own, so its folder is asked first.
LocalFiles::Reading readLocal(const std::string& path, std::size_t most,
                              const std::function<bool()>& isLate) {
    const std::string folder(parentFolder(path));
    struct statfs system {};
    if (statfs(folder.c_str(), &system) != 0 || !isLocal(system) || isLate()) return {};

    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const int reason = errno;
    struct stat facts {};
    if (!file) {
        const bool isMissing = reason == ENOENT && lstat(path.c_str(), &facts) != 0 && errno == ENOENT;
        return {.failed = !isMissing || isLate()};
    }
    if (isLate() || fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) return {};
    if (fstatfs(file.get(), &system) != 0 || !isLocal(system) || isLate()) return {};
    if (std::cmp_greater(facts.st_size, most)) return {.failed = false, .bytes = std::string(most + 1, ' ')};
    auto bytes = bytesIn(file.get(), most, isLate);
    if (!bytes || isLate()) return {};
    return {.failed = false, .bytes = std::move(bytes)};
}

} // namespace

LocalFiles::Read PosixLocalFiles::reader() {
    return readLocal;
}

} // namespace orvel
