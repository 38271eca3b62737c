#pragma once
// Waiting on a main loop until a file descriptor can be used. The loops of POSIX programs offer it.

#include <functional>
#include <memory>

#include <poll.h>

namespace orvel {

/// Waits for a descriptor; destroying it ends the waiting. It must outlive neither its loop nor its
/// descriptor.
class DescriptorWatch {
  public:
    virtual ~DescriptorWatch() = default;
};

class DescriptorWatcher {
  public:
    enum class Use { read, write };

    virtual ~DescriptorWatcher() = default;

    /// Calls `ready` once, from the loop, as soon as the descriptor can be used so; with true if it failed or
    /// its other side hung up. `ready` may destroy this watch and others and begin new ones. A descriptor has
    /// one watch for each use at a time.
    [[nodiscard]] virtual std::unique_ptr<DescriptorWatch>
    watch(int descriptor, Use use, std::function<void(bool isBroken)> ready) = 0;

  protected:
    static constexpr short pollEvents(Use use) { return use == Use::read ? POLLIN : POLLOUT; }
    static constexpr bool isBroken(short events) { return (events & (POLLERR | POLLHUP | POLLNVAL)) != 0; }
};

} // namespace orvel
