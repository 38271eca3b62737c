#pragma once
// What Orvel uses of AppKit and GNUstep has not. Included before every source; the fakes beside it give the
// behaviour, which is our own model of the contracts.

#import <AppKit/AppKit.h>

typedef NSString* NSPasteboardType;
typedef NSString* NSRunLoopMode;
typedef NSInteger NSWindowLevel;
#define NSBezelStyleRounded NSRoundedBezelStyle

@interface NSPasteboard (Missing)
- (NSInteger)clearContents;
- (NSArray*)pasteboardItems;
- (BOOL)writeObjects:(NSArray*)objects;
@end

@interface NSRunningApplication (Missing)
- (BOOL)activateFromApplication:(NSRunningApplication*)application
                        options:(NSApplicationActivationOptions)options;
@end

@interface NSApplication (Missing)
- (void)yieldActivationToApplication:(NSRunningApplication*)application;
@end

@interface NSWorkspaceOpenConfiguration : NSObject {
    BOOL activates;
}
@property BOOL activates;
+ (instancetype)configuration;
@end

@interface NSWorkspace (Missing)
- (NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier;
- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication*, NSError*))completionHandler;
@end
