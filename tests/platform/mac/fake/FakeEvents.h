#pragma once
// Stand-ins for the keyboard and the mouse of a Mac, its taps and its main run loop.

#include "FakeObjects.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace orvel::macfake {

class FakeMac;

/// An event's fields, of which every one can be asked for.
struct EventFacts {
    CGEventType type = kCGEventKeyDown;
    CGEventFlags flags = 0;
    std::int64_t keyCode = 0, isRepeat = 0, clickState = 0, sourceProcess = 0, userData = 0;
    CGPoint position{};
};

struct EventObject : Object {
    static constexpr auto itsKind = Kind::event;
    explicit EventObject(const EventFacts& facts) : Object(itsKind), facts(facts) {}
    EventFacts facts;
};

/// A tap. It begins enabled. At its end it has to be disabled and invalid, and must not be at work.
struct PortObject : Object {
    static constexpr auto itsKind = Kind::port;
    PortObject() : Object(itsKind) {}
    void ends() override;

    CGEventTapLocation location = kCGHIDEventTap;
    CGEventTapPlacement placement = kCGTailAppendEventTap;
    CGEventTapOptions options = kCGEventTapOptionListenOnly;
    CGEventMask events = 0;
    CGEventTapCallBack callback = nullptr;
    void* context = nullptr;
    bool isEnabled = true, isValid = true, isAttached = false, isCalling = false;
};

struct Arrived {
    EventFacts facts;
    pid_t process = 0;
};

class FakeEvents {
  public:
    explicit FakeEvents(FakeMac& mac) : mac(mac) {}

    /// The person presses something, which waits for the main loop if there is a tap.
    void press(EventFacts facts);
    /// The main loop runs until nothing waits.
    void settle();
    /// The system disables the tap.
    void disable(CGEventType reason);
    /// A tap is called as the system might, with whatever it likes.
    static CGEventRef call(PortObject& port, CGEventType type, CGEventRef event);
    /// Complains of what still stands.
    void end();

    CGEventFlags held = 0; ///< Modifiers that the person holds down.
    pid_t front = 0;
    std::vector<Arrived> arrived;
    std::chrono::nanoseconds tapLimit = std::chrono::seconds(1);
    bool refusesTaps = false, refusesSources = false, refusesEventSources = false;
    int eventsUntilRefusal = -1;   ///< So many can still be made; all, if negative.
    std::vector<PortObject*> taps; ///< All that were made, also those that ended.

    // For the functions
    struct Travelling {
        EventFacts facts;
        std::optional<pid_t> process; ///< For which it was posted.
        std::chrono::nanoseconds since{0};
    };
    void send(const EventFacts& facts, std::optional<pid_t> process);
    CGEventRef make(EventFacts facts);

  private:
    struct Notice {
        PortObject* port;
        CGEventType reason;
    };

    void pass(const Travelling& travelling);
    bool isSwallowed(PortObject& port, const Travelling& travelling);
    void disable(PortObject& port, CGEventType reason);

    FakeMac& mac;
    std::deque<Travelling> travellings;
    std::deque<Notice> notices;
};

} // namespace orvel::macfake
