#pragma once
// Our own declarations of what Orvel uses of AppKit, as those of Foundation.

#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@class NSEvent;
@class NSWindow;

// The pasteboard

typedef NSString* NSPasteboardType;
extern NSPasteboardType const NSPasteboardTypeString;

@protocol NSPasteboardWriting <NSObject>
@end

@interface NSPasteboardItem : NSObject <NSPasteboardWriting>
@property(readonly, copy) NSArray<NSPasteboardType>* types;
- (BOOL)setData:(NSData*)data forType:(NSPasteboardType)type;
- (nullable NSData*)dataForType:(NSPasteboardType)type;
@end

@interface NSPasteboard : NSObject
@property(class, readonly, strong) NSPasteboard* generalPasteboard;
@property(readonly) NSInteger changeCount;
@property(nullable, readonly, copy) NSArray<NSPasteboardType>* types;
@property(nullable, readonly, copy) NSArray<NSPasteboardItem*>* pasteboardItems;
- (NSInteger)clearContents;
- (BOOL)writeObjects:(NSArray<id<NSPasteboardWriting>>*)objects;
- (BOOL)setString:(NSString*)string forType:(NSPasteboardType)type;
@end

// Applications

typedef NS_OPTIONS(NSUInteger, NSApplicationActivationOptions) {
    NSApplicationActivateAllWindows = 1,
};

@interface NSRunningApplication : NSObject
@property(class, readonly, strong) NSRunningApplication* currentApplication;
@property(readonly, getter=isTerminated) BOOL terminated;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@property(nullable, readonly, copy) NSURL* bundleURL;
@property(readonly) pid_t processIdentifier;
@property(nullable, readonly, copy) NSDate* launchDate;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)bundleIdentifier;
+ (nullable instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
- (BOOL)activateFromApplication:(NSRunningApplication*)application
                        options:(NSApplicationActivationOptions)options;
@end

@interface NSWorkspaceOpenConfiguration : NSObject <NSCopying>
@property BOOL activates;
+ (instancetype)configuration;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
@property(nullable, readonly, strong) NSRunningApplication* frontmostApplication;
- (BOOL)openURL:(NSURL*)url;
- (nullable NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier;
- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(nullable void (^)(NSRunningApplication* _Nullable app,
                                                NSError* _Nullable error))completionHandler;
@end

@interface NSApplication : NSObject
@property(class, readonly, strong) NSApplication* sharedApplication;
- (void)activateIgnoringOtherApps:(BOOL)ignoresOthers;
- (void)yieldActivationToApplication:(NSRunningApplication*)application;
@end

// Views

@interface NSScreen : NSObject
@property(class, nullable, readonly, strong) NSScreen* mainScreen;
@property(class, readonly, copy) NSArray<NSScreen*>* screens;
@property(readonly) NSRect visibleFrame;
@end

@interface NSColor : NSObject
@property(class, strong, readonly) NSColor* clearColor;
@property(class, strong, readonly) NSColor* labelColor;
@property(class, strong, readonly) NSColor* secondaryLabelColor;
@property(class, strong, readonly) NSColor* windowBackgroundColor;
- (void)setFill;
@end

@interface NSFont : NSObject
+ (NSFont*)systemFontOfSize:(CGFloat)size;
@property(class, readonly) CGFloat systemFontSize;
@property(class, readonly) CGFloat smallSystemFontSize;
@end

@interface NSBezierPath : NSObject
+ (NSBezierPath*)bezierPathWithRoundedRect:(NSRect)rect xRadius:(CGFloat)xRadius yRadius:(CGFloat)yRadius;
- (void)fill;
@end

@interface NSResponder : NSObject
@end

@interface NSView : NSResponder
- (instancetype)initWithFrame:(NSRect)frame;
@property NSRect frame;
@property NSRect bounds;
- (void)setFrameOrigin:(NSPoint)origin;
- (void)setFrameSize:(NSSize)size;
- (void)addSubview:(NSView*)view;
- (void)drawRect:(NSRect)dirtyRect;
- (BOOL)acceptsFirstMouse:(nullable NSEvent*)event;
@end

@interface NSCell : NSObject
@property BOOL wraps;
- (NSSize)cellSizeForBounds:(NSRect)bounds;
@end

@interface NSControl : NSView
@property(nullable, strong) NSCell* cell;
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property(nullable, strong) NSFont* font;
@property(copy) NSString* stringValue;
- (void)sizeToFit;
@end

@interface NSTextField : NSControl
@property(nullable, copy) NSColor* textColor;
@property(getter=isEditable) BOOL editable;
@property(getter=isSelectable) BOOL selectable;
@property(getter=isBezeled) BOOL bezeled;
@property BOOL drawsBackground;
@end

typedef NS_ENUM(NSUInteger, NSBezelStyle) {
    NSBezelStyleRounded = 1,
};

@interface NSButton : NSControl
@property(copy) NSString* title;
@property NSBezelStyle bezelStyle;
@end

// Windows

typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask) {
    NSWindowStyleMaskBorderless = 0,
    NSWindowStyleMaskNonactivatingPanel = 1 << 7,
};

typedef NS_OPTIONS(NSUInteger, NSWindowCollectionBehavior) {
    NSWindowCollectionBehaviorCanJoinAllSpaces = 1 << 0,
    NSWindowCollectionBehaviorFullScreenAuxiliary = 1 << 8,
};

typedef NS_ENUM(NSUInteger, NSBackingStoreType) {
    NSBackingStoreBuffered = 2,
};

typedef NSInteger NSWindowLevel;

@interface NSWindow : NSResponder
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)isDeferred;
@property(readonly) NSRect frame;
@property(readonly) BOOL canBecomeKeyWindow;
@property(readonly) BOOL canBecomeMainWindow;
@property NSWindowLevel level;
@property BOOL hidesOnDeactivate;
@property NSWindowCollectionBehavior collectionBehavior;
@property(getter=isOpaque) BOOL opaque;
@property(null_resettable, copy) NSColor* backgroundColor;
@property BOOL hasShadow;
@property(nullable, strong) NSView* contentView;
- (void)setFrame:(NSRect)frame display:(BOOL)displays;
- (void)orderFrontRegardless;
- (void)orderOut:(nullable id)sender;
@end

@interface NSPanel : NSWindow
@end

typedef NSInteger NSModalResponse;
enum : NSModalResponse { NSModalResponseOK = 1, NSModalResponseCancel = 0 };

@interface NSSavePanel : NSPanel
@property(nullable, readonly, copy) NSURL* URL;
@property(nullable, copy) NSURL* directoryURL;
@property(null_resettable, copy) NSString* message;
@property(null_resettable, copy) NSString* prompt;
@property BOOL showsHiddenFiles;
- (NSModalResponse)runModal;
@end

@interface NSOpenPanel : NSSavePanel
@property BOOL canChooseFiles;
@property BOOL canChooseDirectories;
@property BOOL allowsMultipleSelection;
+ (NSOpenPanel*)openPanel;
@end

#pragma clang assume_nonnull end
