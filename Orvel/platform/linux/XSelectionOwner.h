#pragma once
// What this program holds on the clipboard of an X desktop, served to others from a thread of its own:
// whoever pastes waits for it, this program's own window as well.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orvel {

/// What a target gives.
struct XTargetData {
    std::string type; ///< The name of the data's type.
    std::uint8_t format = 8;
    std::string bytes;
};

/// By the target's name.
using XTargets = std::map<std::string, XTargetData>;

/// Used by one thread. Ends what it serves with its life.
class XSelectionOwner {
  public:
    /// An empty name is the environment's display.
    explicit XSelectionOwner(const std::string& display);
    ~XSelectionOwner();
    XSelectionOwner(const XSelectionOwner&) = delete;
    XSelectionOwner& operator=(const XSelectionOwner&) = delete;

    /// Makes this program the owner of the clipboard with these targets, which may be none. False if the
    /// server refuses.
    bool own(XTargets targets);

    /// The window under which it owns; 0 without a server.
    std::uint32_t window() const;

  private:
    class Server;

    std::unique_ptr<Server> server;
};

} // namespace orvel
