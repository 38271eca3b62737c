#pragma once
// Our own declarations of what Orvel uses of Sparkle, as those of Foundation.

#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@class SPUUpdater;
@class SUAppcastItem;

@protocol SPUUpdaterDelegate <NSObject>
@optional
- (nullable NSArray<NSString*>*)allowedSystemProfileKeysForUpdater:(SPUUpdater*)updater;
- (NSArray<NSDictionary<NSString*, NSString*>*>*)feedParametersForUpdater:(SPUUpdater*)updater
                                                     sendingSystemProfile:(BOOL)sendingProfile;
- (BOOL)updater:(SPUUpdater*)updater
       willInstallUpdateOnQuit:(SUAppcastItem*)item
    immediateInstallationBlock:(void (^)(void))immediateInstallHandler;
@end

@protocol SPUStandardUserDriverDelegate <NSObject>
@end

@interface SPUUpdater : NSObject
@property(nonatomic, readonly) BOOL canCheckForUpdates;
@property(nonatomic) BOOL automaticallyChecksForUpdates;
@property(nonatomic) BOOL automaticallyDownloadsUpdates;
- (BOOL)startUpdater:(NSError* _Nullable* _Nullable)error;
- (void)checkForUpdates;
@end

@interface SPUStandardUpdaterController : NSObject
@property(nonatomic, readonly) SPUUpdater* updater;
- (instancetype)initWithStartingUpdater:(BOOL)startsUpdater
                        updaterDelegate:(nullable id<SPUUpdaterDelegate>)updaterDelegate
                     userDriverDelegate:(nullable id<SPUStandardUserDriverDelegate>)userDriverDelegate;
@end

#pragma clang assume_nonnull end
