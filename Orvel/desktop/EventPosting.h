#pragma once
// Synthetic key events and clicks.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/ProcessID.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace orvel {

/// A key with modifiers, numbered as on macOS.
struct SyntheticKey {
    static constexpr std::uint64_t shift = 0x20000, control = 0x40000, option = 0x80000, command = 0x100000;

    std::int64_t keyCode = 0;
    std::uint64_t flags = 0;

    bool operator==(const SyntheticKey&) const = default;
};

/// Events that are ready to be posted; destroying it discards them.
class PreparedEvents {
  public:
    virtual ~PreparedEvents() = default;

    /// Posts press and release, once. There is no way to tell whether they arrived.
    virtual void post() = 0;
};

/// Belongs to the main loop's thread. Posted events carry `marker` or are never reported by the tap, so they
/// can be told apart from the person's own.
class EventPosting {
  public:
    /// The eight letters "ORVELCOP", big-endian.
    static constexpr std::int64_t marker = 0x4F5256454C434F50;

    virtual ~EventPosting() = default;

    /// Prepares press and release of a key, for one process or for whichever has keyboard focus. Where keys
    /// reach only the latter, one for a process without focus is lost. Null if the system refuses.
    [[nodiscard]] virtual std::unique_ptr<PreparedEvents> key(SyntheticKey key,
                                                              std::optional<ProcessID> process) = 0;

    /// Prepares a click of the left button at a point on the screen. Null if the system refuses.
    [[nodiscard]] virtual std::unique_ptr<PreparedEvents> click(AXPoint point) = 0;
};

} // namespace orvel
