#pragma once
// The tap of a macOS session, in front of all others, on the main run loop.

#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/platform/mac/CFOwned.h"

#include <CoreGraphics/CoreGraphics.h>

#include <memory>

namespace orvel {

/// The system passes a key for which it waited too long (about a second), and disables the tap. It stays so
/// until it is stopped and started again. A press of Return that is reported after that has gone its way
/// already, so nobody is asked about it.
class MacKeyboardTap : public KeyboardTap {
  public:
    MacKeyboardTap() = default;
    ~MacKeyboardTap() override;
    MacKeyboardTap(const MacKeyboardTap&) = delete;
    MacKeyboardTap& operator=(const MacKeyboardTap&) = delete;

    bool isListeningGranted() override;
    void requestListening() override;
    TapStart start(Handler handler) override;
    void stop() override;
    bool isEnabled() override;

  private:
    struct Tap {
        CFOwned<CFMachPortRef> port;
        CFOwned<CFRunLoopSourceRef> source;
    };

    static CGEventRef called(CGEventTapProxy proxy, CGEventType type, CGEventRef event, void* context);
    TapAnswer answer(CGEventType type, CGEventRef event);
    bool isTooLate(const TapEvent& event);

    Tap tap;
    Tap stopped; ///< By its own handler: the system may still use it as that returns.
    std::shared_ptr<const Handler> handler;
    int calls = 0; ///< Of the handler, which run now.
};

} // namespace orvel
