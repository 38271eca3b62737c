// The person at an open panel, what GNUstep does not keep of windows, timers that need not be waited for, and
// the bundle of this program.

#include "Fakes.h"
#include "Orvel/platform/mac/FoundationText.h"

@implementation NSOpenPanel (Fake)
- (NSInteger)runModal {
    auto& panel = orvel::fakes().panel;
    panel.choosesFiles = [self canChooseFiles];
    panel.choosesFolders = [self canChooseDirectories];
    panel.choosesSeveral = [self allowsMultipleSelection];
    panel.showsHidden = [self showsHiddenFiles];
    panel.prompt = orvel::utf8Text([self prompt]);
    panel.folder = orvel::utf8Text([[self directoryURL] path]);
    return panel.isConfirmed ? NSModalResponseOK : NSModalResponseCancel;
}
- (NSURL*)URL {
    const auto& chosen = orvel::fakes().panel.chosen;
    return chosen.empty() ? nil : [NSURL fileURLWithPath:orvel::foundationText(chosen)];
}
@end

@implementation NSSavePanel (Fake)
- (void)setMessage:(NSString*)message {
    orvel::fakes().panel.message = orvel::utf8Text(message);
}
@end

static std::map<NSWindow*, NSWindowCollectionBehavior> behaviors;

@implementation NSWindow (Fake)
- (void)setCollectionBehavior:(NSWindowCollectionBehavior)behavior {
    behaviors[self] = behavior;
}
- (NSWindowCollectionBehavior)collectionBehavior {
    return behaviors[self];
}
@end

@interface FakeTimerTarget : NSObject {
  @public
    void (^block)(NSTimer*);
}
@end

@implementation FakeTimerTarget
- (void)fire:(NSTimer*)timer {
    ++orvel::fakes().timers.fired;
    block(timer);
}
@end

@implementation NSTimer (Fake)
+ (NSTimer*)timerWithTimeInterval:(NSTimeInterval)interval
                          repeats:(BOOL)repeats
                            block:(void (^)(NSTimer*))block {
    orvel::fakes().timers.lastInterval = interval;
    ++orvel::fakes().timers.made;
    FakeTimerTarget* target = [[FakeTimerTarget alloc] init];
    target->block = Block_copy(block);
    return [NSTimer timerWithTimeInterval:interval / 1000
                                   target:target
                                 selector:@selector(fire:)
                                 userInfo:nil
                                  repeats:repeats];
}
@end

@implementation NSBundle (Fake)
- (id)objectForInfoDictionaryKey:(NSString*)key {
    const auto& bundle = orvel::fakes().bundle;
    const auto name = orvel::utf8Text(key);
    if (const auto text = bundle.texts.find(name); text != bundle.texts.end())
        return orvel::foundationText(text->second);
    if (const auto boolean = bundle.booleans.find(name); boolean != bundle.booleans.end())
        return [NSNumber numberWithBool:boolean->second];
    if (const auto number = bundle.numbers.find(name); number != bundle.numbers.end())
        return [NSNumber numberWithInt:number->second];
    return nil;
}
@end
