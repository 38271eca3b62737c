#include "FakeSparkle.h"

#include "Fakes.h"

// There is one updater at a time.
static BOOL canCheck, checks, downloads;

@implementation SPUUpdater
- (BOOL)canCheckForUpdates {
    return canCheck;
}
- (BOOL)automaticallyChecksForUpdates {
    return checks;
}
- (void)setAutomaticallyChecksForUpdates:(BOOL)wanted {
    checks = wanted;
}
- (BOOL)automaticallyDownloadsUpdates {
    return downloads;
}
- (void)setAutomaticallyDownloadsUpdates:(BOOL)wanted {
    downloads = wanted;
}
- (BOOL)startUpdater:(NSError**)error {
    ++orvel::fakes().updates.starts;
    return !orvel::fakes().updates.failsToStart;
}
- (void)checkForUpdates {
    ++orvel::fakes().updates.checks;
}
@end

static SPUUpdater* updater;
static id<SPUUpdaterDelegate> delegate;

SPUUpdater* lastUpdater() {
    return updater;
}

id<SPUUpdaterDelegate> lastUpdaterDelegate() {
    return delegate;
}

void setCanCheckForUpdates(BOOL can) {
    [updater willChangeValueForKey:@"canCheckForUpdates"];
    canCheck = can;
    [updater didChangeValueForKey:@"canCheckForUpdates"];
}

@implementation SPUStandardUpdaterController
- (instancetype)initWithStartingUpdater:(BOOL)startsUpdater
                        updaterDelegate:(id<SPUUpdaterDelegate>)updaterDelegate
                     userDriverDelegate:(id<SPUStandardUserDriverDelegate>)userDriverDelegate {
    orvel::fakes().updates.startedByItself = startsUpdater;
    orvel::fakes().updates.hasDelegates = updaterDelegate && userDriverDelegate;
    updater = [[SPUUpdater alloc] init];
    canCheck = checks = downloads = NO;
    delegate = updaterDelegate;
    return self;
}
- (SPUUpdater*)updater {
    return updater;
}
@end
