// The notice of a failed command, and updates.

#include "FakeSparkle.h"
#include "GnustepTest.h"
#include "Orvel/platform/mac/FoundationText.h"
#include "Orvel/platform/mac/MacFailureNotice.h"
#include "Orvel/platform/mac/MacUpdater.h"
#include "Orvel/platform/mac/NoticePanel.h"

namespace orvel {
namespace {

class MacFailureNoticeTest : public GnustepTest {
  protected:
    static std::vector<NonactivatingPanel*> shown() {
        std::vector<NonactivatingPanel*> panels;
        NSArray* windows = [[NSApplication sharedApplication] windows];
        for (NSUInteger i = 0; i < [windows count]; ++i) {
            id window = [windows objectAtIndex:i];
            if ([window isKindOfClass:[NonactivatingPanel class]] && [window isVisible])
                panels.push_back(window);
        }
        return panels;
    }

    // The texts in their order and the buttons by their titles.
    static std::vector<std::string> texts() {
        std::vector<std::string> found;
        for (NSView* view in [[shown().at(0) contentView] subviews])
            if ([view isKindOfClass:[NSTextField class]])
                found.push_back(utf8Text([(NSTextField*)view stringValue]));
        return found;
    }
    static OrvelNoticeButton* button(const std::string& title) {
        for (NSView* view in [[shown().at(0) contentView] subviews])
            if ([view isKindOfClass:[OrvelNoticeButton class]] && utf8Text([(NSButton*)view title]) == title)
                return (OrvelNoticeButton*)view;
        return nil;
    }

    // Serves what stands in the common modes alone, 12 ms at the pace of the fake being its time.
    static void runLoop() {
        for (int round = 0; round < 20; ++round)
            [[NSRunLoop mainRunLoop] runMode:NSRunLoopCommonModes
                                  beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.005]];
    }

    FakeTimers& timers = fakes().timers;
    int opened = 0;
    std::function<void()> open = [this] { ++opened; };
    MacFailureNotice notice;
};

TEST_F(MacFailureNoticeTest, standsAboveAllAndNeverTakesTheKeyboard) {
    notice.tell("It failed.", "14:32:07 / Codex / Return", open);
    ASSERT_EQ(shown().size(), 1U);
    auto* panel = shown().front();
    EXPECT_FALSE([panel canBecomeKeyWindow] || [panel canBecomeMainWindow] || [panel isKeyWindow]);
    EXPECT_EQ([panel styleMask], 128U);
    EXPECT_EQ([panel level], 3);
    EXPECT_EQ([panel collectionBehavior], 257U);
    EXPECT_FALSE([panel hidesOnDeactivate] || [panel isOpaque]);
    EXPECT_TRUE([panel hasShadow]);
    EXPECT_EQ(texts(), (std::vector<std::string>{"It failed.", "14:32:07 / Codex / Return"}));
    const auto room = [[NSScreen mainScreen] visibleFrame], frame = [panel frame];
    EXPECT_EQ(NSMaxX(frame), NSMaxX(room) - 20);
    EXPECT_EQ(NSMaxY(frame), NSMaxY(room) - 20);
    for (NSView* view in [[panel contentView] subviews])
        EXPECT_TRUE(NSContainsRect([[panel contentView] bounds], [view frame]));
    for (const auto* title : {"Close", "View in Orvel"})
        EXPECT_TRUE([button(title) acceptsFirstMouse:nil]) << title;
}

TEST_F(MacFailureNoticeTest, goesByItselfAndIsReplacedByALaterOne) {
    notice.tell("First.", "", open);
    EXPECT_EQ(timers.lastInterval, 12);
    notice.tell("Second.", "", open);
    EXPECT_EQ(texts(), std::vector<std::string>{"Second."});
    runLoop();
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(timers.made, 2);
    EXPECT_EQ(timers.fired, 1) << "the first one's timer was stopped, and no timer repeats";
    notice.tell("Third.", "", open);
    notice.dismiss();
    EXPECT_TRUE(shown().empty());
    {
        MacFailureNotice other;
        other.tell("Fourth.", "", open);
    }
    EXPECT_TRUE(shown().empty());
    runLoop();
    EXPECT_EQ(timers.fired, 1);
    EXPECT_EQ(opened, 0);
}

TEST_F(MacFailureNoticeTest, doesWhatItsButtonsSay) {
    notice.tell("It failed.", "", open);
    auto* view = button("View in Orvel");
    [view performClick:nil];
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(opened, 1);
    [view performClick:nil];
    EXPECT_EQ(opened, 1);
    notice.tell("It failed.", "", [this] { notice.tell("Again.", "", open); });
    [button("View in Orvel") performClick:nil];
    EXPECT_EQ(texts(), std::vector<std::string>{"Again."});
    [button("Close") performClick:nil];
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(opened, 1);
}

TEST_F(MacFailureNoticeTest, cutsALongTextBetweenCharacters) {
    std::string text(599, 'a');
    notice.tell(text + "b", "", open);
    EXPECT_EQ(texts().front(), text + "b");
    notice.tell(text + "👋 and more", "", open);
    EXPECT_EQ(texts().front(), text + "…");
    notice.tell("\xff", "", open);
    EXPECT_EQ(shown().size(), 1U);
}

class MacUpdaterTest : public GnustepTest {
  protected:
    UpdaterDelegate delegate() {
        return {.allowedSystemProfileKeys = {"cpu"},
                .feedParameters = {{"channel", "beta"}},
                .onChanged = [this] { ++changes; },
                .onReady = [this](auto ready) { install = std::move(ready); }};
    }

    FakeUpdates& updates = fakes().updates;
    int changes = 0;
    std::function<void()> install;
    MacUpdater updater;
};

TEST_F(MacUpdaterTest, isNothingUntilItHasStarted) {
    updates.failsToStart = true;
    EXPECT_FALSE(updater.start(delegate()));
    EXPECT_EQ(updates.starts, 1);
    EXPECT_FALSE(updates.startedByItself);
    updater.checkForUpdates();
    updater.setAutomaticallyChecks(true);
    setCanCheckForUpdates(YES);
    EXPECT_FALSE(updater.state().canCheckForUpdates || updater.state().automaticallyChecks);
    EXPECT_EQ(updates.checks + changes, 0);
}

TEST_F(MacUpdaterTest, passesOnWhatIsAskedAndTold) {
    ASSERT_TRUE(updater.start(delegate()));
    EXPECT_TRUE(updates.hasDelegates);
    updater.checkForUpdates();
    EXPECT_EQ(updates.checks, 1);
    setCanCheckForUpdates(YES);
    EXPECT_EQ(changes, 1);
    updater.setAutomaticallyChecks(true);
    EXPECT_TRUE([lastUpdater() automaticallyChecksForUpdates]);
    EXPECT_EQ(changes, 2);
    const auto state = updater.state();
    EXPECT_TRUE(state.canCheckForUpdates && state.automaticallyChecks && !state.automaticallyDownloads);
    updater.setAutomaticallyDownloads(true);
    EXPECT_TRUE(updater.state().automaticallyDownloads && [lastUpdater() automaticallyDownloadsUpdates]);
    EXPECT_EQ(changes, 3);
}

TEST_F(MacUpdaterTest, answersTheFrameworkAndKeepsAReadyUpdate) {
    auto held = std::make_unique<MacUpdater>();
    ASSERT_TRUE(held->start(delegate()));
    id<SPUUpdaterDelegate> asked = lastUpdaterDelegate();
    NSArray* keys = [asked allowedSystemProfileKeysForUpdater:lastUpdater()];
    ASSERT_EQ([keys count], 1U);
    EXPECT_EQ(utf8Text([keys objectAtIndex:0]), "cpu");
    NSArray* parameters = [asked feedParametersForUpdater:lastUpdater() sendingSystemProfile:YES];
    ASSERT_EQ([parameters count], 1U);
    EXPECT_EQ(utf8Text([[parameters objectAtIndex:0] objectForKey:@"key"]), "channel");
    EXPECT_EQ(utf8Text([[parameters objectAtIndex:0] objectForKey:@"value"]), "beta");
    static int installed;
    installed = 0;
    id item = nil;
    const auto offer = [&] {
        return [asked updater:lastUpdater()
               willInstallUpdateOnQuit:item
            immediateInstallationBlock:Block_copy(^{
              ++installed;
            })];
    };
    EXPECT_TRUE(offer());
    EXPECT_EQ(installed, 0) << "the person decides";
    ASSERT_TRUE(install);
    install();
    EXPECT_EQ(installed, 1);
    install = {};
    held.reset();
    EXPECT_FALSE(offer()) << "the framework goes on by itself";
    EXPECT_FALSE(install);
    setCanCheckForUpdates(YES);
    EXPECT_EQ(changes, 0);
}

} // namespace
} // namespace orvel
