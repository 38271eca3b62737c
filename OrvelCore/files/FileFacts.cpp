#include "OrvelCore/files/FileFacts.h"

#include <sys/stat.h>

namespace orvel {

namespace {

std::int64_t nanoseconds(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

} // namespace

std::optional<FileFacts> FileFacts::of(const std::string& path) {
    struct stat facts {};
    if (stat(path.c_str(), &facts) != 0) return std::nullopt;
#ifdef __APPLE__
    const auto &modified = facts.st_mtimespec, &changed = facts.st_ctimespec;
#else
    const auto &modified = facts.st_mtim, &changed = facts.st_ctim;
#endif
    return FileFacts{static_cast<std::uint64_t>(facts.st_dev), static_cast<std::uint64_t>(facts.st_ino),
                     static_cast<std::uint64_t>(facts.st_size), nanoseconds(modified), nanoseconds(changed)};
}

} // namespace orvel
