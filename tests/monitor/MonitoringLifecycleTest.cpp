// When the tap runs: permissions that come and go, starts that fail, pauses, and taps that the system
// disables.

#include "Orvel/monitor/MonitoringLifecycle.h"
#include "MonitoredDesktop.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

const std::string working =
    "Enter /orvel in a Codex / Claude editor and press Return or ⌘Return to open Orvel.";
const std::string waiting = "Grant accessibility permission. Monitoring will start automatically.";
const std::string refused =
    "Couldn't start monitoring. Check accessibility permission. If needed, open Input Monitoring Settings. "
    "Restart Orvel if monitoring still fails after changing permissions.";
const std::string tooSlow =
    "Monitoring stopped because a read took too long. Resume monitoring to try again.";
const std::string tapStopped = "macOS stopped monitoring. Check permissions and resume monitoring.";

struct MonitoringLifecycleTest : testing::Test, MonitoredDesktop {
    MonitoringLifecycleTest() {
        desktop.steps.observer = [this](const SimulatedStep& step) {
            starts += step.operation == "startTap";
        };
    }

    MonitoringCallbacks callbacks() {
        return {.handle =
                    [this](const TapEvent&) {
                        ++keys;
                        return TapAnswer::swallow;
                    },
                .stopped = [this] { enabledWhenStopped = desktop.keyboard.isEnabled(); },
                .tick = [this] { ++ticks; },
                .refreshed = [this] { ++refreshes; }};
    }
    void trust(bool isTrusted) { desktop.accessibility.trusted = isTrusted; }

    SimulatedKeyboard& keyboard = desktop.keyboard;
    int starts = 0, keys = 0, ticks = 0, refreshes = 0;
    std::optional<bool> enabledWhenStopped;
    std::optional<MonitoringLifecycle> made{
        std::in_place, changes,
        MonitoringLifecycleNeeds{loop, keyboard, desktop.accessibility, desktop.applications, preparation},
        callbacks()};
    MonitoringLifecycle& lifecycle = *made;
};

TEST_F(MonitoringLifecycleTest, StartsByItselfWithAccessibilityAndWaitsWithoutIt) {
    trust(false);
    keyboard.granted = false;
    lifecycle.startAutomaticMonitoring();
    EXPECT_FALSE(lifecycle.isMonitoring());
    EXPECT_EQ(lifecycle.status(), waiting);
    loop.runFor(999ms);
    trust(true);
    EXPECT_FALSE(lifecycle.isMonitoring());
    loop.runFor(1ms);
    EXPECT_TRUE(lifecycle.isMonitoring()) << "listening to keys needs no permission of its own";
    EXPECT_EQ(lifecycle.status(), working);
    EXPECT_EQ(preparation.description(), "Codex: Waiting for app launch\nClaude: Waiting for app launch");
    keyboard.press("a");
    loop.runFor(1ms);
    EXPECT_EQ(keys, 1);

    trust(false);
    loop.runFor(1s);
    EXPECT_FALSE(lifecycle.isMonitoring());
    EXPECT_FALSE(lifecycle.isPaused());
    EXPECT_EQ(lifecycle.status(), waiting);
    EXPECT_EQ(enabledWhenStopped, false) << "told when the tap is gone";
    EXPECT_EQ(preparation.description(), "Codex / Claude editor read preparation: Monitoring stopped");
    trust(true);
    loop.runFor(1s);
    EXPECT_TRUE(lifecycle.isMonitoring());
    EXPECT_EQ(starts, 2);
}

TEST_F(MonitoringLifecycleTest, AFailedStartIsTriedAgainWhenSomethingChanged) {
    struct Row {
        const char* what;
        std::function<void()> change;
        int attempts;
    };
    keyboard.refusesStart = true;
    lifecycle.startAutomaticMonitoring();
    EXPECT_EQ(starts, 1);
    const std::vector<Row> rows{
        {"nothing", [] {}, 0},
        {"asked to look", [&] { lifecycle.refreshPermissions(); }, 0},
        {"begun again", [&] { lifecycle.startAutomaticMonitoring(); }, 0},
        {"less is granted", [&] { keyboard.granted = false; }, 1},
        {"more is granted", [&] { keyboard.granted = true; }, 1},
        {"resumed", [&] { lifecycle.resume(); }, 1},
        {"Accessibility was away",
         [&] {
             trust(false);
             loop.runFor(1s);
             EXPECT_FALSE(lifecycle.hasStartFailed());
             EXPECT_EQ(lifecycle.status(), waiting);
             trust(true);
         },
         1},
    };
    for (const auto& [what, change, attempts] : rows) {
        const auto before = starts;
        change();
        loop.runFor(5s);
        EXPECT_EQ(starts - before, attempts) << what;
        EXPECT_TRUE(lifecycle.hasStartFailed()) << what;
        EXPECT_FALSE(lifecycle.isMonitoring()) << what;
        EXPECT_EQ(lifecycle.status(), refused) << what;
        EXPECT_FALSE(lifecycle.isPaused()) << what;
    }
    keyboard.refusesStart = false;
    lifecycle.resume();
    EXPECT_TRUE(lifecycle.isMonitoring());
    EXPECT_FALSE(lifecycle.hasStartFailed());
}

TEST_F(MonitoringLifecycleTest, ATapThatCouldNotBeAttachedHasItsOwnWords) {
    struct : KeyboardTap {
        bool isListeningGranted() override { return true; }
        void requestListening() override {}
        TapStart start(Handler) override { return TapStart::notAttached; }
        void stop() override {}
        bool isEnabled() override { return false; }
    } tap;
    MonitoringLifecycle other(changes, {loop, tap, desktop.accessibility, desktop.applications, preparation},
                              callbacks());
    other.startAutomaticMonitoring();
    EXPECT_FALSE(other.isMonitoring());
    EXPECT_TRUE(other.hasStartFailed());
    EXPECT_EQ(other.status(), "Couldn't initialize key monitoring.");
}

TEST_F(MonitoringLifecycleTest, AfterAPauseOnlyThePersonResumes) {
    lifecycle.resume();
    ASSERT_TRUE(lifecycle.isMonitoring()) << "the first of all, too";
    lifecycle.pause();
    const std::string paused = "Monitoring paused until you resume it or restart Orvel.";
    for (const bool isTrusted : {true, false, true}) {
        trust(isTrusted);
        keyboard.granted = !keyboard.granted;
        loop.runFor(3s);
        EXPECT_FALSE(lifecycle.isMonitoring());
        EXPECT_EQ(lifecycle.status(), paused);
    }
    keyboard.press("a");
    loop.runFor(1ms);
    EXPECT_EQ(keys, 0);
    lifecycle.resume();
    EXPECT_TRUE(lifecycle.isMonitoring());
    loop.runFor(2s);
    EXPECT_EQ(starts, 2);
}

TEST_F(MonitoringLifecycleTest, ATapThatTheSystemDisabledIsAPauseUnlessAccessibilityIsGone) {
    lifecycle.startAutomaticMonitoring();
    for (const auto type : {TapEventType::tapDisabledByTimeout, TapEventType::tapDisabledByUserInput}) {
        for (const bool isTrusted : {true, false}) {
            lifecycle.resume();
            ASSERT_TRUE(lifecycle.isMonitoring());
            // The permission goes after the event, and before there was time to ask.
            trust(true);
            keyboard.disable(type);
            loop.post([this, isTrusted] { trust(isTrusted); });
            loop.runFor(1ms);
            EXPECT_FALSE(lifecycle.isMonitoring());
            EXPECT_EQ(lifecycle.isPaused(), isTrusted);
            EXPECT_EQ(lifecycle.status(), type == TapEventType::tapDisabledByTimeout ? tooSlow : tapStopped);
            EXPECT_EQ(keys, 0) << "the keys' handler hears nothing of it";
            trust(true); // Back before the next look.
            loop.runFor(2s);
            EXPECT_EQ(lifecycle.isMonitoring(), !isTrusted);
        }
    }
}

TEST_F(MonitoringLifecycleTest, ATapThatWasDisabledUnnoticedIsFoundWithinASecond) {
    lifecycle.startAutomaticMonitoring();
    loop.runFor(2500ms);
    EXPECT_TRUE(lifecycle.isMonitoring());
    desktop.steps.observer = [](SimulatedStep& step) {
        if (step.operation == "isTapEnabled") step.report = AXStatus::failure;
    };
    loop.runFor(500ms);
    EXPECT_FALSE(lifecycle.isMonitoring());
    EXPECT_TRUE(lifecycle.isPaused());
    EXPECT_EQ(lifecycle.status(), tapStopped);
}

TEST_F(MonitoringLifecycleTest, TheEndOfATapDoesNotStopTheNextOne) {
    lifecycle.startAutomaticMonitoring();
    keyboard.disable(TapEventType::tapDisabledByTimeout);
    loop.post([this] {
        lifecycle.pause();
        lifecycle.resume();
    });
    loop.runFor(3s);
    EXPECT_TRUE(lifecycle.isMonitoring());
    EXPECT_EQ(lifecycle.status(), working);
}

TEST_F(MonitoringLifecycleTest, TicksWhileMonitoringAndLooksAlways) {
    trust(false);
    lifecycle.startAutomaticMonitoring();
    lifecycle.startAutomaticMonitoring();
    loop.runFor(3s);
    EXPECT_EQ(std::pair(ticks, refreshes), std::pair(0, 4)) << "one timer";
    trust(true);
    lifecycle.refreshPermissions();
    EXPECT_EQ(std::pair(ticks, refreshes), std::pair(1, 5)) << "at once, as it starts";
    loop.runFor(3s);
    EXPECT_EQ(std::pair(ticks, refreshes), std::pair(4, 8));
    lifecycle.pause();
    loop.runFor(3s);
    EXPECT_EQ(std::pair(ticks, refreshes), std::pair(4, 11));
}

TEST_F(MonitoringLifecycleTest, PreparesTheEditorsAndIsQuietWhenAllIsAsItWas) {
    desktop.applications.start(codex);
    lifecycle.startAutomaticMonitoring();
    loop.runFor(3s);
    EXPECT_TRUE(preparation.readyProcess(Agent::codex));
    const auto told = changes.count();
    loop.runFor(60s);
    EXPECT_EQ(changes.count(), told);
}

TEST_F(MonitoringLifecycleTest, WithoutTheLifecycleThereIsNoTap) {
    lifecycle.startAutomaticMonitoring();
    keyboard.press("a");
    made.reset();
    loop.run();
    EXPECT_EQ(keys, 0);
    EXPECT_FALSE(keyboard.isEnabled());
}

TEST_F(MonitoringLifecycleTest, TellsWhatBecameOfTheRequestToListen) {
    const std::string mayMiss = "Input Monitoring: Unconfirmed (may not be required)";
    const std::string tail =
        " If needed, open System Settings → Privacy & Security → Input Monitoring and check Orvel. "
        "Permission "
        "changes are detected automatically. If macOS requests it or the status does not change, quit with "
        "Command+Q and reopen the updated app.";
    const std::string starts = "Monitoring starts automatically with Accessibility permission unless paused.";
    const std::string works = "Monitoring is working; no additional Input Monitoring permission is needed.";
    trust(false);
    keyboard.granted = false;
    lifecycle.refreshPermissions();
    EXPECT_EQ(lifecycle.status(), "") << "nothing has begun";
    EXPECT_EQ(lifecycle.inputMonitoringLabel(), mayMiss);
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), std::nullopt);
    lifecycle.openInputMonitoringSettings();
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), "Couldn't open System Settings. " + starts + tail);

    struct Settings : SimulatedApplication {
        using SimulatedApplication::SimulatedApplication;
        bool takesURL(const std::string& url) override {
            return url == "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent";
        }
    } settings{"com.apple.systempreferences", "1", "/settings"};
    desktop.applications.install(settings);
    lifecycle.openInputMonitoringSettings();
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), "Requested System Settings to open. " + starts + tail);

    trust(true);
    lifecycle.startAutomaticMonitoring();
    EXPECT_EQ(lifecycle.inputMonitoringLabel(), "Input Monitoring: Unconfirmed (monitoring is working)");
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), "Requested System Settings to open. " + works + tail);
    const std::string unconfirmed =
        "Input Monitoring permission is still unconfirmed. macOS may not show the permission dialog again. ";
    lifecycle.requestInputMonitoring();
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), unconfirmed + works + tail);
    keyboard.granted = true;
    loop.runFor(1s);
    EXPECT_EQ(lifecycle.inputMonitoringLabel(), "Input Monitoring: Confirmed");
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), "Input Monitoring permission confirmed.");
    keyboard.granted = false;
    loop.runFor(1s);
    EXPECT_EQ(lifecycle.inputMonitoringExplanation(), unconfirmed + works + tail);
    keyboard.granted = true;
    lifecycle.requestInputMonitoring();
    EXPECT_EQ(lifecycle.inputMonitoringPermission().guidance, InputMonitoringPermission::Guidance::confirmed);
}

} // namespace
} // namespace orvel
