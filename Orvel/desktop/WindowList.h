#pragma once
// The owners of the windows on the screen.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

class WindowList {
  public:
    /// The name of the program that owns the window, or nothing if it can't be read.
    using OwnerName = std::optional<std::string>;

    /// Gives the owners of the windows on the screen, of at most the first `most` windows; nothing if there
    /// is no list to be had. May take long.
    using Read = std::function<std::optional<std::vector<OwnerName>>(std::size_t most)>;

    virtual ~WindowList() = default;

    /// What reads the list, on whichever thread, one call at a time. It holds what it needs, since a read
    /// that takes long may outlive this object.
    virtual Read reader() = 0;
};

} // namespace orvel
