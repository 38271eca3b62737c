#pragma once
// Small files on this machine's own disks, which somebody reads while a key of the person waits.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace orvel {

class LocalFiles {
  public:
    struct Reading {
        bool failed =
            true; ///< It could not be read, or lies elsewhere: on a network, behind another program.
        std::optional<std::string> bytes = std::nullopt; ///< Nothing if there is no such file.
    };

    /// Reads the file at a path, of which at most `most` bytes are wanted: of a larger one it gives one byte
    /// more, which stand for nothing. Fails once `isLate`, which is asked between the steps. Throws nothing.
    using Read = std::function<Reading(const std::string& path, std::size_t most,
                                       const std::function<bool()>& isLate)>;

    virtual ~LocalFiles() = default;

    /// What reads a file, on whichever thread. It holds what it needs, since a read that hangs may outlive
    /// this object.
    virtual Read reader() = 0;
};

} // namespace orvel
