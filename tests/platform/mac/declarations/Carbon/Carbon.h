#pragma once
// What Orvel uses of the text input sources.

#include <ApplicationServices/ApplicationServices.h>

CF_EXTERN_C_BEGIN
CF_ASSUME_NONNULL_BEGIN

typedef struct __TISInputSource* TISInputSourceRef;

extern const CFStringRef kTISPropertyInputSourceID;
extern const CFStringRef kTISPropertyInputModeID;
extern const CFStringRef kTISPropertyInputSourceType;
extern const CFStringRef kTISPropertyInputSourceIsASCIICapable;

TISInputSourceRef _Nullable TISCopyCurrentKeyboardInputSource(void) CF_RETURNS_RETAINED;
TISInputSourceRef _Nullable TISCopyCurrentKeyboardLayoutInputSource(void) CF_RETURNS_RETAINED;
/// Belongs to the source.
void* _Nullable TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef key);

CF_ASSUME_NONNULL_END
CF_EXTERN_C_END
