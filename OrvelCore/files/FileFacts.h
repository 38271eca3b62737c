#pragma once
// What tells whether a file is still the one that was read, without reading it.

#include <cstdint>
#include <optional>
#include <string>

namespace orvel {

/// The identity and the state of a file. Equal facts at two moments mean that nobody wrote to it between.
struct FileFacts {
    std::uint64_t device = 0, inode = 0, size = 0;
    std::int64_t modifiedAt = 0; ///< Last change of the contents; nanoseconds of the file system's clock.
    std::int64_t changedAt = 0;  ///< Last change of contents or attributes; the same.

    /// The facts of the file behind the path, following links; nothing if there is none.
    static std::optional<FileFacts> of(const std::string& path);

    bool operator==(const FileFacts&) const = default;
};

} // namespace orvel
