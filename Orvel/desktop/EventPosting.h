#pragma once
// Keys and clicks that this program makes itself.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/ProcessID.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace orvel {

/// A key with modifiers, both by the numbers of macOS.
struct SyntheticKey {
    static constexpr std::uint64_t shift = 0x20000, control = 0x40000, option = 0x80000, command = 0x100000;

    std::int64_t keyCode = 0;
    std::uint64_t flags = 0;

    bool operator==(const SyntheticKey&) const = default;
};

/// Events that are made and not yet posted; destroying it forgets them.
class PreparedEvents {
  public:
    virtual ~PreparedEvents() = default;

    /// Posts press and release, once. Nothing tells whether they arrived.
    virtual void post() = 0;
};

/// Belongs to the main loop's thread. What is posted carries `marker`, or is never reported by the tap:
/// either way it can be told from what the person does.
class EventPosting {
  public:
    /// The eight letters "ORVELCOP", big-endian.
    static constexpr std::int64_t marker = 0x4F5256454C434F50;

    virtual ~EventPosting() = default;

    /// Makes press and release of a key, for one process, or for whatever has the keyboard. Null if the
    /// system refuses.
    [[nodiscard]] virtual std::unique_ptr<PreparedEvents> key(SyntheticKey key,
                                                              std::optional<ProcessID> process) = 0;

    /// Makes a click of the left button at a point of the screen. Null if the system refuses.
    [[nodiscard]] virtual std::unique_ptr<PreparedEvents> click(AXPoint point) = 0;
};

} // namespace orvel
