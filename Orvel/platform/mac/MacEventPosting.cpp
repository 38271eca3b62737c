#include "Orvel/platform/mac/MacEventPosting.h"

#include "Orvel/platform/mac/CFOwned.h"

#include <CoreGraphics/CoreGraphics.h>

#include <array>
#include <utility>

namespace orvel {

namespace {

using Event = CFOwned<CGEventRef>;

class MacPreparedEvents : public PreparedEvents {
  public:
    MacPreparedEvents(std::array<Event, 2> events, std::optional<ProcessID> process)
        : events(std::move(events)), process(process) {}

    void post() override {
        if (std::exchange(isPosted, true)) return;
        for (const auto& event : events)
            if (process)
                CGEventPostToPid(*process, event.get());
            else
                CGEventPost(kCGHIDEventTap, event.get());
    }

  private:
    std::array<Event, 2> events; ///< Press and release.
    std::optional<ProcessID> process;
    bool isPosted = false;
};

// Null if the system refused one of them.
std::unique_ptr<PreparedEvents> prepared(Event press, Event release, std::uint64_t flags,
                                         std::optional<ProcessID> process) {
    if (!press || !release) return nullptr;
    std::array<Event, 2> events{std::move(press), std::move(release)};
    for (const auto& event : events) {
        CGEventSetFlags(event.get(), flags);
        CGEventSetIntegerValueField(event.get(), kCGEventSourceUserData, EventPosting::marker);
    }
    return std::make_unique<MacPreparedEvents>(std::move(events), process);
}

CFOwned<CGEventSourceRef> hardwareSource() {
    return CFOwned<CGEventSourceRef>::created(CGEventSourceCreate(kCGEventSourceStateHIDSystemState));
}

} // namespace

std::unique_ptr<PreparedEvents> MacEventPosting::key(SyntheticKey key, std::optional<ProcessID> process) {
    CFOwned<CGEventSourceRef> source;
    if (!process) {
        source = hardwareSource();
        if (!source) return nullptr;
    }
    const auto made = [&](bool isDown) {
        return Event::created(
            CGEventCreateKeyboardEvent(source.get(), static_cast<CGKeyCode>(key.keyCode), isDown));
    };
    auto press = made(true), release = made(false);
    return prepared(std::move(press), std::move(release), key.flags, process);
}

std::unique_ptr<PreparedEvents> MacEventPosting::click(AXPoint point) {
    const auto source = hardwareSource();
    if (!source) return nullptr;
    const auto made = [&](CGEventType type) {
        auto event = Event::created(
            CGEventCreateMouseEvent(source.get(), type, CGPoint{point.x, point.y}, kCGMouseButtonLeft));
        if (event) CGEventSetIntegerValueField(event.get(), kCGMouseEventClickState, 1);
        return event;
    };
    auto press = made(kCGEventLeftMouseDown), release = made(kCGEventLeftMouseUp);
    return prepared(std::move(press), std::move(release), 0, std::nullopt);
}

} // namespace orvel
