#include "Orvel/platform/mac/MacUpdater.h"

#include "Orvel/platform/mac/FoundationText.h"
#include "Orvel/platform/mac/MacBundle.h"

#include <utility>

#import <Sparkle/Sparkle.h>

// Answers the framework and hears of its changes. What it asks is another one's, and gone before it.
@interface OrvelUpdaterDelegate : NSObject <SPUUpdaterDelegate, SPUStandardUserDriverDelegate> {
  @public
    const orvel::UpdaterDelegate* asked;
}
@end

@implementation OrvelUpdaterDelegate

- (NSArray<NSString*>*)allowedSystemProfileKeysForUpdater:(SPUUpdater*)updater {
    NSMutableArray<NSString*>* const keys = [NSMutableArray array];
    if (!asked) return keys;
    for (const auto& key : asked->allowedSystemProfileKeys)
        if (NSString* text = orvel::foundationText(key)) [keys addObject:text];
    return keys;
}

- (NSArray<NSDictionary<NSString*, NSString*>*>*)feedParametersForUpdater:(SPUUpdater*)updater
                                                     sendingSystemProfile:(BOOL)sendingProfile {
    NSMutableArray<NSDictionary<NSString*, NSString*>*>* const parameters = [NSMutableArray array];
    if (!asked) return parameters;
    for (const auto& [name, value] : asked->feedParameters) {
        NSString* const key = orvel::foundationText(name);
        NSString* const text = orvel::foundationText(value);
        if (!key || !text) continue;
        [parameters
            addObject:[NSDictionary dictionaryWithObjectsAndKeys:key, @"key", text, @"value", key,
                                                                 @"displayKey", text, @"displayValue", nil]];
    }
    return parameters;
}

- (BOOL)updater:(SPUUpdater*)updater
       willInstallUpdateOnQuit:(SUAppcastItem*)item
    immediateInstallationBlock:(void (^)(void))immediateInstallHandler {
    if (!asked) return NO;
    asked->onReady([immediateInstallHandler] { immediateInstallHandler(); });
    return YES;
}

- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSString*, id>*)change
                       context:(void*)context {
    if (asked) asked->onChanged();
}

@end

namespace orvel {

namespace {

NSString* const observedProperties[] = {@"canCheckForUpdates", @"automaticallyChecksForUpdates",
                                        @"automaticallyDownloadsUpdates"};

} // namespace

class MacUpdater::Running {
  public:
    explicit Running(UpdaterDelegate asked) : asked(std::move(asked)) {
        delegate = [[OrvelUpdaterDelegate alloc] init];
        delegate->asked = &this->asked;
        controller = [[SPUStandardUpdaterController alloc] initWithStartingUpdater:NO
                                                                   updaterDelegate:delegate
                                                                userDriverDelegate:delegate];
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() {
        delegate->asked = nullptr;
        if (!isObserved) return;
        for (const auto& property : observedProperties)
            [updater() removeObserver:delegate forKeyPath:property];
    }

    SPUUpdater* updater() const { return controller.updater; }

    bool start() {
        if (![updater() startUpdater:nullptr]) return false;
        for (const auto& property : observedProperties)
            [updater() addObserver:delegate forKeyPath:property options:0 context:nullptr];
        isObserved = true;
        return true;
    }

  private:
    UpdaterDelegate asked;
    OrvelUpdaterDelegate* delegate = nil;
    SPUStandardUpdaterController* controller = nil;
    bool isObserved = false;
};

MacUpdater::MacUpdater() = default;
MacUpdater::~MacUpdater() = default;

bool MacUpdater::isProductionBuild() const {
    return MacBundle::enablesUpdates();
}

std::string MacUpdater::feedHost() const {
    return MacBundle::feedHost();
}

bool MacUpdater::start(UpdaterDelegate delegate) {
    auto started = std::make_unique<Running>(std::move(delegate));
    if (!started->start()) return false;
    running = std::move(started);
    return true;
}

UpdaterState MacUpdater::state() const {
    if (!running) return {};
    SPUUpdater* const updater = running->updater();
    return {.canCheckForUpdates = updater.canCheckForUpdates == YES,
            .automaticallyChecks = updater.automaticallyChecksForUpdates == YES,
            .automaticallyDownloads = updater.automaticallyDownloadsUpdates == YES};
}

void MacUpdater::setAutomaticallyChecks(bool checks) {
    if (running) running->updater().automaticallyChecksForUpdates = checks;
}

void MacUpdater::setAutomaticallyDownloads(bool downloads) {
    if (running) running->updater().automaticallyDownloadsUpdates = downloads;
}

void MacUpdater::checkForUpdates() {
    [(running ? running->updater() : nil) checkForUpdates];
}

} // namespace orvel
