#pragma once
// The place in the road of key events from the person to the other programs at which this program may look at
// each, and swallow it.

#include "Orvel/desktop/ProcessID.h"

#include <cstdint>
#include <functional>

namespace orvel {

/// Kinds of events, by the numbers of macOS.
enum class TapEventType : std::uint32_t {
    leftMouseDown = 1,
    rightMouseDown = 3,
    keyDown = 10,
    keyUp = 11,
    flagsChanged = 12,
    otherMouseDown = 25,
    tapDisabledByTimeout = 0xFFFFFFFE,  ///< The handler was too slow, and the tap no longer works.
    tapDisabledByUserInput = 0xFFFFFFFF ///< The system or the person switched the tap off.
};

struct TapEvent {
    TapEventType type = TapEventType::keyDown;
    std::int64_t keyCode = 0; ///< Of keys and of changed modifiers.
    std::uint64_t flags = 0;  ///< Modifiers, in the bits of SyntheticKey, and 0x800000 for Fn.
    bool isRepeat = false;
    ProcessID sourceProcess = 0; ///< 0 for the hardware.
    std::int64_t marker = 0;     ///< EventPosting::marker on events of this program.

    bool operator==(const TapEvent&) const = default;
};

enum class TapAnswer { pass, swallow };

enum class TapStart {
    started,
    refused,    ///< No tap could be made.
    notAttached ///< It was made and could not be joined to the main loop; it is gone again.
};

/// Belongs to the main loop's thread, on which also the handler runs.
class KeyboardTap {
  public:
    /// While it runs, the keys of the whole desktop wait, so it ends within 180 ms. A platform lets the key
    /// pass that was not answered in time, and may switch the tap off. It may call `stop`.
    using Handler = std::function<TapAnswer(const TapEvent&)>;

    virtual ~KeyboardTap() = default;

    /// Whether the system says that this program may listen to keys. A tap may work without.
    virtual bool isListeningGranted() = 0;
    /// Asks the person for that, through the system. The answer is not waited for.
    virtual void requestListening() = 0;

    /// Starts an active tap that reports the types of TapEventType. Not called while it runs.
    virtual TapStart start(Handler handler) = 0;
    /// Ends the tap; does nothing if there is none.
    virtual void stop() = 0;
    /// Whether a started tap still works.
    virtual bool isEnabled() = 0;
};

} // namespace orvel
