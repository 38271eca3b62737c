#pragma once
// An active event tap: sees every key event before other programs do, and may swallow it.

#include "Orvel/desktop/ProcessID.h"

#include <cstdint>
#include <functional>

namespace orvel {

/// Event types, numbered as on macOS.
enum class TapEventType : std::uint32_t {
    leftMouseDown = 1,
    rightMouseDown = 3,
    keyDown = 10,
    keyUp = 11,
    flagsChanged = 12,
    otherMouseDown = 25,
    tapDisabledByTimeout = 0xFFFFFFFE,  ///< The handler was too slow; the tap is disabled.
    tapDisabledByUserInput = 0xFFFFFFFF ///< The system or the person disabled the tap.
};

/// Places of keys, numbered as on macOS.
namespace KeyCode {
inline constexpr std::int64_t returnKey = 36, keypadEnter = 76, copyKey = 37, letterG = 5, letterV = 9;

constexpr bool isReturn(std::int64_t code) {
    return code == returnKey || code == keypadEnter;
}
} // namespace KeyCode

struct TapEvent {
    TapEventType type = TapEventType::keyDown;
    std::int64_t keyCode = 0; ///< Of key events and modifier changes.
    std::uint64_t flags = 0;  ///< Modifiers, in the bits of SyntheticKey, and 0x800000 for Fn.
    bool isRepeat = false;
    ProcessID sourceProcess = 0; ///< 0 for the hardware.
    std::int64_t marker = 0;     ///< EventPosting::marker on events from this program.

    bool operator==(const TapEvent&) const = default;
};

enum class TapAnswer { pass, swallow };

enum class TapStart {
    started,
    refused,    ///< The tap could not be created.
    notAttached ///< It could not be attached to the main loop, and was removed.
};

/// Belongs to the main loop's thread, on which the handler runs too.
class KeyboardTap {
  public:
    /// Every key of the desktop waits while it runs, so it must return within 180 ms. If it is late, the
    /// platform passes the key and may disable the tap, or say later that the key was pressed, as a repeat.
    /// What it says of anything but presses of Return and Enter need not count; the release of one that was
    /// swallowed may never arrive. It may call `stop`.
    using Handler = std::function<TapAnswer(const TapEvent&)>;

    virtual ~KeyboardTap() = default;

    /// Whether this platform has taps at all.
    virtual bool isAvailable() const { return true; }

    /// Whether this program has the system's permission to listen to keys. A tap may work without it.
    virtual bool isListeningGranted() = 0;
    /// Has the system ask the person for that permission. Doesn't wait for the answer.
    virtual void requestListening() = 0;

    /// Starts a tap for the types of TapEventType. Must not be called while one runs.
    virtual TapStart start(Handler handler) = 0;
    /// Stops the tap, if there is one.
    virtual void stop() = 0;
    /// Whether a started tap still works.
    virtual bool isEnabled() = 0;
};

} // namespace orvel
