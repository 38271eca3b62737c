#include "FakeEvents.h"

#include "FakeMac.h"

#include <utility>

namespace orvel::macfake {

namespace {

struct RunLoopSourceObject : Object {
    static constexpr auto itsKind = Kind::runLoopSource;
    explicit RunLoopSourceObject(PortObject& port) : Object(itsKind), port(port) { retain(port); }
    void ends() override { release(port); }
    PortObject& port;
};

struct EventSourceObject : Object {
    static constexpr auto itsKind = Kind::eventSource;
    EventSourceObject() : Object(itsKind) {}
};

struct RunLoopObject : Object {
    static constexpr auto itsKind = Kind::runLoop;
    RunLoopObject() : Object(itsKind) { isLasting = true; }
};

constexpr CGEventFlags ofTheDevice = 0x102; // Which keyboards add, and nobody has asked for.
constexpr std::int64_t self = 99;

std::int64_t* fieldOf(EventFacts& facts, CGEventField field) {
    switch (field) {
    case kCGMouseEventClickState: return &facts.clickState;
    case kCGKeyboardEventAutorepeat: return &facts.isRepeat;
    case kCGKeyboardEventKeycode: return &facts.keyCode;
    case kCGEventSourceUnixProcessID: return &facts.sourceProcess;
    case kCGEventSourceUserData: return &facts.userData;
    }
    complain("there is no such field of an event");
    return nullptr;
}

} // namespace

void PortObject::ends() {
    if (isEnabled) complain("a tap ends and is enabled");
    if (isValid) complain("a tap ends and is valid");
    if (isAttached) complain("a tap ends and is on the main loop");
    if (isCalling) complain("a tap ends while it is at work");
}

void FakeEvents::press(EventFacts facts) {
    facts.flags |= held | ofTheDevice;
    send(facts, std::nullopt);
}

void FakeEvents::send(const EventFacts& facts, std::optional<pid_t> process) {
    travellings.push_back({facts, process, mac.now});
}

void FakeEvents::settle() {
    while (!travellings.empty() || !notices.empty()) {
        if (!travellings.empty()) {
            const auto next = travellings.front();
            travellings.pop_front();
            pass(next);
        }
        if (notices.empty()) continue;
        const auto notice = notices.front();
        notices.pop_front();
        if (notice.port->isValid && notice.port->isAttached) call(*notice.port, notice.reason, nullptr);
    }
}

void FakeEvents::pass(const Travelling& travelling) {
    const auto asked = taps;
    for (auto* port : asked) {
        const bool isOfInterest = (port->events >> travelling.facts.type & 1) != 0;
        if (port->isValid && port->isEnabled && isOfInterest && isSwallowed(*port, travelling)) return;
    }
    arrived.push_back({travelling.facts, travelling.process.value_or(front)});
}

// The tap may be asked about what waited too long, although it has gone its way.
bool FakeEvents::isSwallowed(PortObject& port, const Travelling& travelling) {
    const auto isLate = [&] { return mac.now - travelling.since > tapLimit || !port.isAttached; };
    const bool wasLate = isLate();
    if (wasLate) disable(port, kCGEventTapDisabledByTimeout);
    auto* event = orvel::macfake::make<EventObject>(travelling.facts);
    const auto made = referenceTo<CGEventRef>(event);
    const auto answer = port.isAttached ? call(port, travelling.facts.type, made) : made;
    if (answer && answer != made) complain("a tap passes another event on");
    release(*event);
    if (!wasLate && isLate() && port.isEnabled) disable(port, kCGEventTapDisabledByTimeout);
    return !answer && !isLate() && port.options == kCGEventTapOptionDefault;
}

CGEventRef FakeEvents::call(PortObject& port, CGEventType type, CGEventRef event) {
    port.isCalling = true;
    auto* const answer = port.callback(nullptr, type, event, port.context);
    port.isCalling = false;
    return answer;
}

void FakeEvents::disable(PortObject& port, CGEventType reason) {
    port.isEnabled = false;
    notices.push_back({&port, reason});
}

void FakeEvents::disable(CGEventType reason) {
    for (auto* port : taps)
        if (port->isValid && port->isEnabled) disable(*port, reason);
}

CGEventRef FakeEvents::make(EventFacts facts) {
    if (eventsUntilRefusal == 0) return nullptr;
    if (eventsUntilRefusal > 0) --eventsUntilRefusal;
    facts.flags = held | ofTheDevice;
    facts.sourceProcess = self;
    return referenceTo<CGEventRef>(orvel::macfake::make<EventObject>(facts));
}

void FakeEvents::end() {
    for (const auto* port : taps)
        if (port->isAttached || port->isValid) complain("a tap is left");
}

} // namespace orvel::macfake

using namespace orvel::macfake;

CFMachPortRef CGEventTapCreate(CGEventTapLocation location, CGEventTapPlacement placement,
                               CGEventTapOptions options, CGEventMask events, CGEventTapCallBack callback,
                               void* context) {
    auto& mac = FakeMac::current();
    if (mac.events.refusesTaps || !mac.isTrusted) return nullptr;
    auto* port = make<PortObject>();
    port->location = location, port->placement = placement, port->options = options, port->events = events;
    port->callback = callback, port->context = context;
    mac.events.taps.insert(mac.events.taps.begin(), port); // In front of the others.
    return referenceTo<CFMachPortRef>(port);
}

void CGEventTapEnable(CFMachPortRef tap, bool isEnabled) {
    auto* port = given<PortObject>(tap, __func__);
    if (!port) return;
    if (!port->isValid) complain("an invalid tap is switched");
    if (isEnabled && !port->isAttached) complain("a tap is enabled that is not on the main loop");
    port->isEnabled = isEnabled && port->isValid;
}

bool CGEventTapIsEnabled(CFMachPortRef tap) {
    const auto* port = given<PortObject>(tap, __func__);
    return port && port->isEnabled;
}

CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef, CFMachPortRef port, CFIndex) {
    auto* known = given<PortObject>(port, __func__);
    if (!known || FakeMac::current().events.refusesSources) return nullptr;
    return referenceTo<CFRunLoopSourceRef>(make<RunLoopSourceObject>(*known));
}

void CFMachPortInvalidate(CFMachPortRef port) {
    auto* known = given<PortObject>(port, __func__);
    if (!known) return;
    if (known->isEnabled) complain("a tap is invalidated that is enabled");
    known->isValid = false;
}

CFRunLoopRef CFRunLoopGetMain() {
    static auto* const loop = make<RunLoopObject>();
    return referenceTo<CFRunLoopRef>(loop);
}

namespace {

RunLoopSourceObject* switched(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode,
                              const char* function) {
    if (!given<RunLoopObject>(loop, function) || !given<StringObject>(mode, function)) return nullptr;
    if (mode != kCFRunLoopCommonModes) complain("a tap is not in the common modes");
    return given<RunLoopSourceObject>(source, function);
}

} // namespace

void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    auto* known = switched(loop, source, mode, __func__);
    if (!known || known->port.isAttached) return;
    retain(*known);
    known->port.isAttached = true;
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    auto* known = switched(loop, source, mode, __func__);
    if (!known) return;
    if (!known->port.isAttached) {
        complain("a source is taken off a loop on which it is not");
        return;
    }
    known->port.isAttached = false;
    release(*known);
}

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state) {
    if (state != kCGEventSourceStateHIDSystemState) complain("a source of events is of another state");
    if (FakeMac::current().events.refusesEventSources) return nullptr;
    return referenceTo<CGEventSourceRef>(make<EventSourceObject>());
}

CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool isDown) {
    if (source) given<EventSourceObject>(source, __func__);
    return FakeMac::current().events.make({.type = isDown ? kCGEventKeyDown : kCGEventKeyUp, .keyCode = key});
}

CGEventRef CGEventCreateMouseEvent(CGEventSourceRef source, CGEventType type, CGPoint position,
                                   CGMouseButton button) {
    if (source) given<EventSourceObject>(source, __func__);
    if (button != kCGMouseButtonLeft) complain("another button is clicked");
    return FakeMac::current().events.make({.type = type, .position = position});
}

CGEventFlags CGEventGetFlags(CGEventRef event) {
    const auto* known = given<EventObject>(event, __func__);
    return known ? known->facts.flags : 0;
}

void CGEventSetFlags(CGEventRef event, CGEventFlags flags) {
    if (auto* known = given<EventObject>(event, __func__)) known->facts.flags = flags;
}

int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field) {
    auto* known = given<EventObject>(event, __func__);
    const auto* value = known ? fieldOf(known->facts, field) : nullptr;
    return value ? *value : 0;
}

void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, int64_t value) {
    auto* known = given<EventObject>(event, __func__);
    if (auto* kept = known ? fieldOf(known->facts, field) : nullptr) *kept = value;
}

void CGEventPost(CGEventTapLocation location, CGEventRef event) {
    if (location != kCGHIDEventTap) complain("an event is posted elsewhere than the hardware's are");
    if (const auto* known = given<EventObject>(event, __func__))
        FakeMac::current().events.send(known->facts, std::nullopt);
}

void CGEventPostToPid(pid_t process, CGEventRef event) {
    if (const auto* known = given<EventObject>(event, __func__))
        FakeMac::current().events.send(known->facts, process);
}
