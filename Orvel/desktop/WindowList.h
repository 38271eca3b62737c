#pragma once
// The owners of the windows on the screen.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

class WindowList {
  public:
    /// The name of the program that owns the window, or nothing if it can't be read.
    using OwnerName = std::optional<std::string>;

    virtual ~WindowList() = default;

    /// The owners of the windows on the screen, of at most the first `most` windows; nothing if there is no
    /// list to be had. May take long, and may be called from any thread.
    virtual std::optional<std::vector<OwnerName>> ownerNames(std::size_t most) = 0;
};

} // namespace orvel
