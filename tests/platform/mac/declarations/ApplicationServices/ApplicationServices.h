#pragma once
// What Orvel uses of the accessibility interface.

#include <CoreGraphics/CoreGraphics.h>

CF_EXTERN_C_BEGIN
CF_ASSUME_NONNULL_BEGIN

enum AXError : SInt32 {
    kAXErrorSuccess = 0,
    kAXErrorFailure = -25200,
    kAXErrorIllegalArgument = -25201,
    kAXErrorInvalidUIElement = -25202,
    kAXErrorCannotComplete = -25204,
    kAXErrorAttributeUnsupported = -25205,
    kAXErrorActionUnsupported = -25206,
    kAXErrorAPIDisabled = -25211,
    kAXErrorNoValue = -25212
};

enum AXValueType : UInt32 {
    kAXValueTypeIllegal = 0,
    kAXValueTypeCGPoint = 1,
    kAXValueTypeCGSize = 2,
    kAXValueTypeCGRect = 3,
    kAXValueTypeCFRange = 4,
    kAXValueTypeAXError = 5
};

typedef const struct __AXUIElement* AXUIElementRef;
typedef const struct __AXValue* AXValueRef;

Boolean AXIsProcessTrusted(void);

CFTypeID AXUIElementGetTypeID(void);
AXUIElementRef AXUIElementCreateApplication(pid_t process) CF_RETURNS_RETAINED;
AXUIElementRef AXUIElementCreateSystemWide(void) CF_RETURNS_RETAINED;
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float seconds);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef _Nullable* _Nonnull CF_RETURNS_RETAINED value);
AXError AXUIElementIsAttributeSettable(AXUIElementRef element, CFStringRef attribute, Boolean* isSettable);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value);
AXError AXUIElementCopyActionNames(AXUIElementRef element,
                                   CFArrayRef _Nullable* _Nonnull CF_RETURNS_RETAINED names);
AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action);
AXError AXUIElementCopyElementAtPosition(AXUIElementRef application, float x, float y,
                                         AXUIElementRef _Nullable* _Nonnull CF_RETURNS_RETAINED element);
AXError AXUIElementGetPid(AXUIElementRef element, pid_t* process);

CFTypeID AXValueGetTypeID(void);
AXValueType AXValueGetType(AXValueRef value);
/// Whether the value is of that type and was written.
Boolean AXValueGetValue(AXValueRef value, AXValueType type, void* written);

CF_ASSUME_NONNULL_END
CF_EXTERN_C_END
