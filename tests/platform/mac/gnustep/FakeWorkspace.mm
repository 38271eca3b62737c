// Applications and their workspace, of which GNUstep knows its own kind alone.

#include "Fakes.h"
#include "Orvel/platform/mac/FoundationText.h"

namespace {

orvel::FakeWorkspace& workspace() {
    return orvel::fakes().workspace;
}

NSString* textOrNil(const std::string& text) {
    return text.empty() ? nil : orvel::foundationText(text);
}

NSURL* fileOrNil(const std::string& path) {
    return path.empty() ? nil : [NSURL fileURLWithPath:orvel::foundationText(path)];
}

constexpr int ownProcess = 1;

} // namespace

@interface FakeRunningApplication : NSRunningApplication {
  @public
    orvel::FakeApplication* application;
}
@end

static NSRunningApplication* running(const orvel::FakeApplication& application) {
    FakeRunningApplication* made = NSAllocateObject([FakeRunningApplication class], 0, nullptr);
    made->application = new orvel::FakeApplication(application); // For as long as the tests run.
    return made;
}

@implementation FakeRunningApplication
- (BOOL)isTerminated {
    return application->isTerminated;
}
- (NSString*)bundleIdentifier {
    return textOrNil(application->bundleID);
}
- (NSURL*)bundleURL {
    return fileOrNil(application->bundlePath);
}
- (pid_t)processIdentifier {
    return application->process;
}
- (NSDate*)launchDate {
    if (application->start == 0) return nil;
    return [NSDate dateWithTimeIntervalSinceReferenceDate:application->start];
}
- (BOOL)activateFromApplication:(NSRunningApplication*)from options:(NSApplicationActivationOptions)options {
    workspace().calls.push_back("activate " + std::to_string(application->process) + " from " +
                                std::to_string([from processIdentifier]) + " options " +
                                std::to_string(options));
    return !application->refusesActivation;
}
@end

@implementation NSRunningApplication (Fake)
+ (NSRunningApplication*)currentApplication {
    return running({.process = ownProcess, .bundleID = "own"});
}
+ (NSArray*)runningApplicationsWithBundleIdentifier:(NSString*)bundleIdentifier {
    NSMutableArray* result = [NSMutableArray array];
    for (const auto& application : workspace().applications)
        if (application.bundleID == orvel::utf8Text(bundleIdentifier))
            [result addObject:running(application)];
    return result;
}
+ (id)runningApplicationWithProcessIdentifier:(pid_t)pid {
    for (const auto& application : workspace().applications)
        if (application.process == pid) return running(application);
    return nil;
}
@end

@implementation NSApplication (Fake)
- (void)yieldActivationToApplication:(NSRunningApplication*)application {
    workspace().calls.push_back("yield to " + std::to_string([application processIdentifier]));
}
- (void)activateIgnoringOtherApps:(BOOL)ignoresOthers {
    workspace().calls.push_back(ignoresOthers ? "activate self" : "ask to activate self");
}
@end

@implementation NSWorkspaceOpenConfiguration
@synthesize activates;
+ (instancetype)configuration {
    return [[self alloc] init];
}
@end

@implementation NSWorkspace (Fake)
+ (NSWorkspace*)sharedWorkspace {
    static NSWorkspace* const shared = NSAllocateObject([NSWorkspace class], 0, nullptr);
    return shared;
}
- (NSRunningApplication*)frontmostApplication {
    return workspace().applications.empty() ? nil : running(workspace().applications.front());
}
- (BOOL)openURL:(NSURL*)url {
    workspace().calls.push_back("open " + orvel::utf8Text([url absoluteString]));
    return YES;
}
- (NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier {
    const auto found = workspace().installed.find(orvel::utf8Text(bundleIdentifier));
    return found == workspace().installed.end() ? nil : fileOrNil(found->second);
}
- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication*, NSError*))completionHandler {
    workspace().calls.push_back("launch " + orvel::utf8Text([applicationURL path]) +
                                (configuration.activates ? " in front" : ""));
    const auto kept = Block_copy(completionHandler);
    workspace().answer = [kept](bool hasApplication, bool hasError) {
        kept(hasApplication ? running({.process = 7, .bundleID = "opened"}) : nil,
             hasError ? [NSError errorWithDomain:@"test" code:1 userInfo:nil] : nil);
    };
}
@end
