// Written by scripts/mac/tier0 --write: the numbers of the system on which Orvel relies. A Mac compiles it
// unchanged against its own headers.
// clang-format off
#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>
#import <Carbon/Carbon.h>
#import <CoreFoundation/CoreFoundation.h>
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>

static_assert(static_cast<long long>(NSApplicationActivateAllWindows) == 1LL);
static_assert(static_cast<long long>(NSBackingStoreBuffered) == 2LL);
static_assert(static_cast<long long>(NSBezelStyleRounded) == 1LL);
static_assert(static_cast<long long>(NSKeyValueObservingOptionNew) == 1LL);
static_assert(static_cast<long long>(NSModalResponseCancel) == 0LL);
static_assert(static_cast<long long>(NSModalResponseOK) == 1LL);
static_assert(static_cast<long long>(NSUTF8StringEncoding) == 4LL);
static_assert(static_cast<long long>(NSWindowCollectionBehaviorCanJoinAllSpaces) == 1LL);
static_assert(static_cast<long long>(NSWindowCollectionBehaviorFullScreenAuxiliary) == 256LL);
static_assert(static_cast<long long>(NSWindowStyleMaskBorderless) == 0LL);
static_assert(static_cast<long long>(NSWindowStyleMaskNonactivatingPanel) == 128LL);
static_assert(static_cast<long long>(kAXErrorAPIDisabled) == -25211LL);
static_assert(static_cast<long long>(kAXErrorActionUnsupported) == -25206LL);
static_assert(static_cast<long long>(kAXErrorAttributeUnsupported) == -25205LL);
static_assert(static_cast<long long>(kAXErrorCannotComplete) == -25204LL);
static_assert(static_cast<long long>(kAXErrorFailure) == -25200LL);
static_assert(static_cast<long long>(kAXErrorIllegalArgument) == -25201LL);
static_assert(static_cast<long long>(kAXErrorInvalidUIElement) == -25202LL);
static_assert(static_cast<long long>(kAXErrorNoValue) == -25212LL);
static_assert(static_cast<long long>(kAXErrorSuccess) == 0LL);
static_assert(static_cast<long long>(kAXValueTypeAXError) == 5LL);
static_assert(static_cast<long long>(kAXValueTypeCFRange) == 4LL);
static_assert(static_cast<long long>(kAXValueTypeCGPoint) == 1LL);
static_assert(static_cast<long long>(kAXValueTypeCGRect) == 3LL);
static_assert(static_cast<long long>(kAXValueTypeCGSize) == 2LL);
static_assert(static_cast<long long>(kAXValueTypeIllegal) == 0LL);
static_assert(static_cast<long long>(kCFNumberDoubleType) == 13LL);
static_assert(static_cast<long long>(kCFStringEncodingUTF8) == 134217984LL);
static_assert(static_cast<long long>(kCGEventFlagMaskAlphaShift) == 65536LL);
static_assert(static_cast<long long>(kCGEventFlagMaskAlternate) == 524288LL);
static_assert(static_cast<long long>(kCGEventFlagMaskCommand) == 1048576LL);
static_assert(static_cast<long long>(kCGEventFlagMaskControl) == 262144LL);
static_assert(static_cast<long long>(kCGEventFlagMaskSecondaryFn) == 8388608LL);
static_assert(static_cast<long long>(kCGEventFlagMaskShift) == 131072LL);
static_assert(static_cast<long long>(kCGEventFlagsChanged) == 12LL);
static_assert(static_cast<long long>(kCGEventKeyDown) == 10LL);
static_assert(static_cast<long long>(kCGEventKeyUp) == 11LL);
static_assert(static_cast<long long>(kCGEventLeftMouseDown) == 1LL);
static_assert(static_cast<long long>(kCGEventLeftMouseUp) == 2LL);
static_assert(static_cast<long long>(kCGEventOtherMouseDown) == 25LL);
static_assert(static_cast<long long>(kCGEventRightMouseDown) == 3LL);
static_assert(static_cast<long long>(kCGEventSourceStateHIDSystemState) == 1LL);
static_assert(static_cast<long long>(kCGEventSourceUnixProcessID) == 41LL);
static_assert(static_cast<long long>(kCGEventSourceUserData) == 42LL);
static_assert(static_cast<long long>(kCGEventTapDisabledByTimeout) == 4294967294LL);
static_assert(static_cast<long long>(kCGEventTapDisabledByUserInput) == 4294967295LL);
static_assert(static_cast<long long>(kCGEventTapOptionDefault) == 0LL);
static_assert(static_cast<long long>(kCGEventTapOptionListenOnly) == 1LL);
static_assert(static_cast<long long>(kCGHIDEventTap) == 0LL);
static_assert(static_cast<long long>(kCGHeadInsertEventTap) == 0LL);
static_assert(static_cast<long long>(kCGKeyboardEventAutorepeat) == 8LL);
static_assert(static_cast<long long>(kCGKeyboardEventKeycode) == 9LL);
static_assert(static_cast<long long>(kCGMouseButtonLeft) == 0LL);
static_assert(static_cast<long long>(kCGMouseEventClickState) == 1LL);
static_assert(static_cast<long long>(kCGNullWindowID) == 0LL);
static_assert(static_cast<long long>(kCGSessionEventTap) == 1LL);
static_assert(static_cast<long long>(kCGTailAppendEventTap) == 1LL);
static_assert(static_cast<long long>(kCGWindowListOptionOnScreenOnly) == 1LL);
