#include "Orvel/platform/mac/MacKeyboardTap.h"

#include "Orvel/desktop/EventPosting.h"

#include <optional>
#include <utility>

namespace orvel {

namespace {

constexpr std::uint64_t reportedFlags = kCGEventFlagMaskShift | kCGEventFlagMaskControl |
                                        kCGEventFlagMaskAlternate | kCGEventFlagMaskCommand |
                                        kCGEventFlagMaskSecondaryFn;
static_assert(kCGEventFlagMaskShift == SyntheticKey::shift &&
              kCGEventFlagMaskControl == SyntheticKey::control &&
              kCGEventFlagMaskAlternate == SyntheticKey::option &&
              kCGEventFlagMaskCommand == SyntheticKey::command && kCGEventFlagMaskSecondaryFn == 0x800000);

constexpr CGEventMask bit(CGEventType type) {
    return CGEventMask{1} << type;
}
constexpr CGEventMask reportedTypes = bit(kCGEventLeftMouseDown) | bit(kCGEventRightMouseDown) |
                                      bit(kCGEventKeyDown) | bit(kCGEventKeyUp) | bit(kCGEventFlagsChanged) |
                                      bit(kCGEventOtherMouseDown);
static_assert(reportedTypes == 33'561'610);

std::optional<TapEventType> reportedType(CGEventType type) {
    switch (type) {
    case kCGEventLeftMouseDown: return TapEventType::leftMouseDown;
    case kCGEventRightMouseDown: return TapEventType::rightMouseDown;
    case kCGEventKeyDown: return TapEventType::keyDown;
    case kCGEventKeyUp: return TapEventType::keyUp;
    case kCGEventFlagsChanged: return TapEventType::flagsChanged;
    case kCGEventOtherMouseDown: return TapEventType::otherMouseDown;
    case kCGEventTapDisabledByTimeout: return TapEventType::tapDisabledByTimeout;
    case kCGEventTapDisabledByUserInput: return TapEventType::tapDisabledByUserInput;
    default: return std::nullopt;
    }
}

// What tells that the tap was disabled comes without an event.
std::optional<TapEvent> reported(CGEventType type, CGEventRef event) {
    const auto known = reportedType(type);
    if (!known) return std::nullopt;
    TapEvent told{.type = *known};
    if (told.type >= TapEventType::tapDisabledByTimeout) return told;
    if (!event) return std::nullopt;
    const bool isKey = told.type == TapEventType::keyDown || told.type == TapEventType::keyUp;
    if (isKey || told.type == TapEventType::flagsChanged)
        told.keyCode = CGEventGetIntegerValueField(event, kCGKeyboardEventKeycode);
    told.isRepeat = isKey && CGEventGetIntegerValueField(event, kCGKeyboardEventAutorepeat) != 0;
    told.flags = CGEventGetFlags(event) & reportedFlags;
    told.sourceProcess =
        static_cast<ProcessID>(CGEventGetIntegerValueField(event, kCGEventSourceUnixProcessID));
    told.marker = CGEventGetIntegerValueField(event, kCGEventSourceUserData);
    return told;
}

} // namespace

MacKeyboardTap::~MacKeyboardTap() {
    MacKeyboardTap::stop();
}

bool MacKeyboardTap::isListeningGranted() {
    return CGPreflightListenEventAccess();
}

void MacKeyboardTap::requestListening() {
    CGRequestListenEventAccess(); // Tells what is granted now, which may still change.
}

TapStart MacKeyboardTap::start(Handler newHandler) {
    Tap made;
    made.port = CFOwned<CFMachPortRef>::created(CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap,
                                                                 kCGEventTapOptionDefault, reportedTypes,
                                                                 &MacKeyboardTap::called, this));
    if (!made.port) return TapStart::refused;
    made.source = CFOwned<CFRunLoopSourceRef>::created(
        CFMachPortCreateRunLoopSource(kCFAllocatorDefault, made.port.get(), 0));
    if (!made.source) {
        CGEventTapEnable(made.port.get(), false);
        CFMachPortInvalidate(made.port.get());
        return TapStart::notAttached;
    }
    handler = std::make_shared<const Handler>(std::move(newHandler));
    tap = std::move(made);
    // In the common modes keys go on while a menu is open or a window is moved.
    CFRunLoopAddSource(CFRunLoopGetMain(), tap.source.get(), kCFRunLoopCommonModes);
    CGEventTapEnable(tap.port.get(), true);
    return TapStart::started;
}

void MacKeyboardTap::stop() {
    if (!tap.port) return;
    CGEventTapEnable(tap.port.get(), false);
    CFMachPortInvalidate(tap.port.get());
    CFRunLoopRemoveSource(CFRunLoopGetMain(), tap.source.get(), kCFRunLoopCommonModes);
    handler = nullptr;
    auto ended = std::exchange(tap, {});
    if (calls > 0) stopped = std::move(ended);
}

bool MacKeyboardTap::isEnabled() {
    return tap.port && CGEventTapIsEnabled(tap.port.get());
}

CGEventRef MacKeyboardTap::called(CGEventTapProxy, CGEventType type, CGEventRef event, void* context) {
    if (!context) return event;
    return static_cast<MacKeyboardTap*>(context)->answer(type, event) == TapAnswer::swallow ? nullptr : event;
}

TapAnswer MacKeyboardTap::answer(CGEventType type, CGEventRef event) {
    const auto asked = handler; // Which may stop the tap.
    const auto told = reported(type, event);
    if (!asked || !told || isTooLate(*told)) return TapAnswer::pass;
    ++calls;
    const auto answer = (*asked)(*told);
    --calls;
    return answer;
}

bool MacKeyboardTap::isTooLate(const TapEvent& event) {
    return event.type == TapEventType::keyDown && KeyCode::isReturn(event.keyCode) && !isEnabled();
}

} // namespace orvel
