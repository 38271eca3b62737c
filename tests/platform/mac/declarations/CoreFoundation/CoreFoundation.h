#pragma once
// What Orvel uses of CoreFoundation: names, types and numbers, so that its sources for macOS compile
// elsewhere. Ownership and absence are annotated for the compiler and its analyzer.

#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }

#ifdef __clang__
#define CF_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define CF_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))
#define CF_RETURNS_NOT_RETAINED __attribute__((cf_returns_not_retained))
#define CF_CONSUMED __attribute__((cf_consumed))
#else
#define CF_ASSUME_NONNULL_BEGIN
#define CF_ASSUME_NONNULL_END
#define CF_RETURNS_RETAINED
#define CF_RETURNS_NOT_RETAINED
#define CF_CONSUMED
#define _Nullable
#define _Nonnull
#endif

CF_EXTERN_C_BEGIN
CF_ASSUME_NONNULL_BEGIN

// Numbers

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef unsigned short UniChar;
typedef signed int SInt32;
typedef unsigned int UInt32;
typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef double CGFloat;

typedef struct CFRange {
    CFIndex location;
    CFIndex length;
} CFRange;

typedef struct CGPoint {
    CGFloat x;
    CGFloat y;
} CGPoint;

typedef struct CGSize {
    CGFloat width;
    CGFloat height;
} CGSize;

typedef struct CGRect {
    CGPoint origin;
    CGSize size;
} CGRect;

// Objects

typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef const struct __CFNull* CFNullRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFMachPort* CFMachPortRef;
typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;

extern const CFAllocatorRef kCFAllocatorDefault;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef CF_CONSUMED object);
CFTypeID CFGetTypeID(CFTypeRef object);
Boolean CFEqual(CFTypeRef one, CFTypeRef other);
CFHashCode CFHash(CFTypeRef object);

CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* _Nullable CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFTypeID CFDictionaryGetTypeID(void);
const void* _Nullable CFDictionaryGetValue(CFDictionaryRef dictionary, const void* _Nullable key);

extern const CFNullRef kCFNull;
CFTypeID CFNullGetTypeID(void);

enum CFNumberType : CFIndex { kCFNumberDoubleType = 13 };
CFTypeID CFNumberGetTypeID(void);
/// Whether the number was converted without loss; it is written either way.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

typedef UInt32 CFStringEncoding;
enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };
CFTypeID CFStringGetTypeID(void);
/// Null if the bytes are not of that encoding.
CFStringRef _Nullable CFStringCreateWithBytes(CFAllocatorRef _Nullable allocator,
                                              const UInt8* _Nullable bytes, CFIndex count,
                                              CFStringEncoding encoding,
                                              Boolean isExternal) CF_RETURNS_RETAINED;
/// In UTF-16 units.
CFIndex CFStringGetLength(CFStringRef string);
/// Gives how many UTF-16 units were converted: fewer than asked for where the buffer ends, or a unit has no
/// form in that encoding and there is no loss byte. Without a buffer it only counts the bytes.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternal, UInt8* _Nullable buffer, CFIndex size, CFIndex* _Nullable used);

CFTypeID CFURLGetTypeID(void);
CFStringRef CFURLGetString(CFURLRef url) CF_RETURNS_NOT_RETAINED;

// The run loop

typedef CFStringRef CFRunLoopMode;
extern const CFRunLoopMode kCFRunLoopDefaultMode;
extern const CFRunLoopMode kCFRunLoopCommonModes;
CFRunLoopRef CFRunLoopGetMain(void) CF_RETURNS_NOT_RETAINED;
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef _Nullable source, CFRunLoopMode _Nullable mode);
void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef _Nullable source,
                           CFRunLoopMode _Nullable mode);

CFRunLoopSourceRef _Nullable CFMachPortCreateRunLoopSource(CFAllocatorRef _Nullable allocator,
                                                           CFMachPortRef _Nullable port,
                                                           CFIndex order) CF_RETURNS_RETAINED;
void CFMachPortInvalidate(CFMachPortRef _Nullable port);

CF_ASSUME_NONNULL_END
CF_EXTERN_C_END
