#pragma once
// What Orvel uses of CoreGraphics: taps, events and the list of windows.

#include <CoreFoundation/CoreFoundation.h>

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>

CF_EXTERN_C_BEGIN
CF_ASSUME_NONNULL_BEGIN

typedef uint16_t CGKeyCode;
typedef uint64_t CGEventMask;
typedef uint32_t CGWindowID;
typedef struct __CGEvent* CGEventRef;
typedef struct __CGEventSource* CGEventSourceRef;
typedef struct __CGEventTapProxy* CGEventTapProxy;

enum CGEventType : uint32_t {
    kCGEventLeftMouseDown = 1,
    kCGEventLeftMouseUp = 2,
    kCGEventRightMouseDown = 3,
    kCGEventKeyDown = 10,
    kCGEventKeyUp = 11,
    kCGEventFlagsChanged = 12,
    kCGEventOtherMouseDown = 25,
    kCGEventTapDisabledByTimeout = 0xFFFFFFFE,
    kCGEventTapDisabledByUserInput = 0xFFFFFFFF
};

enum CGEventField : uint32_t {
    kCGMouseEventClickState = 1,
    kCGKeyboardEventAutorepeat = 8,
    kCGKeyboardEventKeycode = 9,
    kCGEventSourceUnixProcessID = 41,
    kCGEventSourceUserData = 42
};

typedef uint64_t CGEventFlags; // A plain number, so that masks can be combined.
enum : CGEventFlags {
    kCGEventFlagMaskAlphaShift = 0x10000,
    kCGEventFlagMaskShift = 0x20000,
    kCGEventFlagMaskControl = 0x40000,
    kCGEventFlagMaskAlternate = 0x80000,
    kCGEventFlagMaskCommand = 0x100000,
    kCGEventFlagMaskSecondaryFn = 0x800000
};

enum CGEventTapLocation : uint32_t { kCGHIDEventTap = 0, kCGSessionEventTap = 1 };

enum CGEventTapPlacement : uint32_t { kCGHeadInsertEventTap = 0, kCGTailAppendEventTap = 1 };

enum CGEventTapOptions : uint32_t { kCGEventTapOptionDefault = 0, kCGEventTapOptionListenOnly = 1 };

enum CGEventSourceStateID : int32_t { kCGEventSourceStateHIDSystemState = 1 };

enum CGMouseButton : uint32_t { kCGMouseButtonLeft = 0 };

/// Gives the event itself to pass it on, or null to swallow it. Of a disabled tap there may be no event.
typedef CGEventRef _Nullable (*CGEventTapCallBack)(CGEventTapProxy _Nullable proxy, CGEventType type,
                                                   CGEventRef _Nullable event, void* _Nullable context);

CFMachPortRef _Nullable CGEventTapCreate(CGEventTapLocation location, CGEventTapPlacement placement,
                                         CGEventTapOptions options, CGEventMask events,
                                         CGEventTapCallBack callback,
                                         void* _Nullable context) CF_RETURNS_RETAINED;
void CGEventTapEnable(CFMachPortRef tap, bool isEnabled);
bool CGEventTapIsEnabled(CFMachPortRef tap);

CGEventSourceRef _Nullable CGEventSourceCreate(CGEventSourceStateID state) CF_RETURNS_RETAINED;
CGEventRef _Nullable CGEventCreateKeyboardEvent(CGEventSourceRef _Nullable source, CGKeyCode key,
                                                bool isDown) CF_RETURNS_RETAINED;
CGEventRef _Nullable CGEventCreateMouseEvent(CGEventSourceRef _Nullable source, CGEventType type,
                                             CGPoint position, CGMouseButton button) CF_RETURNS_RETAINED;
CGEventFlags CGEventGetFlags(CGEventRef event);
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);
int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field);
void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, int64_t value);
void CGEventPost(CGEventTapLocation location, CGEventRef event);
void CGEventPostToPid(pid_t process, CGEventRef event);

bool CGPreflightListenEventAccess(void);
bool CGRequestListenEventAccess(void);

typedef uint32_t CGWindowListOption; // A plain number, so that masks can be combined.
enum : CGWindowListOption { kCGWindowListOptionOnScreenOnly = 1 };
enum { kCGNullWindowID = 0 };
extern const CFStringRef kCGWindowOwnerName;
CFArrayRef _Nullable CGWindowListCopyWindowInfo(CGWindowListOption options,
                                                CGWindowID relativeTo) CF_RETURNS_RETAINED;

CF_ASSUME_NONNULL_END
CF_EXTERN_C_END
