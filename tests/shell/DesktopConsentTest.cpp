// What Orvel does to a desktop on which nobody but itself asks the person: nothing before a yes, and no more
// undone than was done.

#include "Orvel/shell/DesktopConsent.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/shell/OrvelApp.h"
#include "TemporaryFolder.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using State = DesktopSwitch::State;

/// A switch that notes what is done to it.
struct StandInSwitch : DesktopSwitch {
    StandInSwitch(MainLoop& loop, std::string run) : loop(loop), run(std::move(run)) {}

    Task<Reading> read() override {
        ++reads;
        co_await loop.sleep(5ms);
        co_return Reading{.state = state, .run = run};
    }
    Task<void> turn(bool isOn) override {
        turns += isOn ? "+" : "-";
        co_await loop.sleep(5ms);
        if (isStuck) co_return;
        state = isOn ? State::on : State::off;
        if (linked) linked->state = state;
    }

    MainLoop& loop;
    std::string run, turns;
    State state = State::off;
    int reads = 0;
    bool isStuck = false;
    StandInSwitch* linked = nullptr; ///< Which the desktop turns with it.
};

struct DesktopConsentTest : testing::Test {
    DesktopConsentTest() {
        desktop.session = {SessionKind::x11, &now, &later, &autostart};
        desktop.steps.observer = [this](const SimulatedStep& step) {
            touched += step.operation == "startTap" || step.operation == "isTrusted";
        };
        later.linked = &now; // As the launcher of the bus does; the other direction too.
        now.linked = &later;
    }

    OrvelApp& start() {
        app.reset();
        app.emplace(desktop.ports(),
                    AgentFolders::of(folder.path("home"), std::nullopt, std::nullopt, folder.path("config")),
                    folder.path("data/state.json"), ClockStyle(), "1.0");
        app->start();
        desktop.loop.runFor(5s);
        return *app;
    }
    void pass() { desktop.loop.runFor(5s); }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    StandInSwitch now{desktop.loop, "session 1"}, later{desktop.loop, ""}, autostart{desktop.loop, ""};
    int touched = 0;
    std::optional<OrvelApp> app;
};

TEST_F(DesktopConsentTest, NothingIsTouchedBeforeAYesAndTheYesOutlivesTheRun) {
    start();
    app->consent.refresh();
    app->monitoring.lifecycle.resume();
    pass();
    EXPECT_EQ(touched, 0) << "no grab, and no question that would start the accessibility bus";
    EXPECT_EQ(now.turns + later.turns + autostart.turns, "");
    EXPECT_EQ(app->monitoring.lifecycle.status(), sentencesOfOpenSession.notAllowed);

    app->allowWatching(true);
    EXPECT_TRUE(app->monitoring.lifecycle.isMonitoring());
    EXPECT_EQ(now.turns + later.turns + autostart.turns, "") << "it was only allowed to watch";
    EXPECT_TRUE(start().monitoring.lifecycle.isMonitoring());
    app->monitoring.lifecycle.pause();
    app->allowWatching(false);
    EXPECT_EQ(app->monitoring.lifecycle.status(), sentencesOfOpenSession.notAllowed);
    app->allowWatching(true);
    ASSERT_TRUE(app->monitoring.lifecycle.isMonitoring());
    app->allowWatching(false);
    EXPECT_FALSE(app->monitoring.lifecycle.isMonitoring());
    touched = 0;
    EXPECT_FALSE(start().monitoring.lifecycle.isMonitoring());
    EXPECT_EQ(touched, 0);

    desktop.session.kind = SessionKind::guarded;
    EXPECT_TRUE(start().monitoring.lifecycle.isMonitoring()) << "there the system has asked";
}

TEST_F(DesktopConsentTest, WhatOrvelTurnedOnIsTurnedOffAgainAndNothingElse) {
    const struct {
        const char* name;
        State nowBefore, laterBefore;
        bool isLinked;
        State nowOn, laterOn;   ///< Once it was turned on.
        State nowOff, laterOff; ///< Once that was undone.
    } cases[] = {
        {"both off", State::off, State::off, true, State::on, State::on, State::off, State::off},
        {"both off, and apart", State::off, State::off, false, State::on, State::on, State::off, State::off},
        {"on for somebody else", State::on, State::on, true, State::on, State::on, State::on, State::on},
        {"on here alone", State::on, State::off, false, State::on, State::off, State::on, State::off},
        {"on later alone", State::off, State::on, false, State::on, State::on, State::off, State::on},
        {"no setting for later", State::off, State::missing, false, State::on, State::missing, State::off,
         State::missing},
        {"nobody answers", State::unknown, State::off, false, State::unknown, State::off, State::unknown,
         State::off},
    };
    for (const auto& [name, nowBefore, laterBefore, isLinked, nowOn, laterOn, nowOff, laterOff] : cases) {
        desktop.settings.values.clear();
        now.linked = isLinked ? &later : nullptr;
        later.linked = isLinked ? &now : nullptr;
        now.state = nowBefore;
        later.state = laterBefore;
        start().consent.turnAccessibility(true);
        EXPECT_TRUE(app->consent.accessibility().isBusy) << name;
        pass();
        EXPECT_EQ(now.state, nowOn) << name;
        EXPECT_EQ(later.state, laterOn) << name;
        const auto standing = app->consent.accessibility();
        EXPECT_FALSE(standing.isBusy) << name;
        EXPECT_EQ(standing.isOurs, nowOn != nowBefore) << name;
        EXPECT_EQ(standing.hasFailed, nowOn != State::on) << name;
        start().consent.turnAccessibility(false);
        pass();
        EXPECT_EQ(now.state, nowOff) << name;
        EXPECT_EQ(later.state, laterOff) << name;
        EXPECT_FALSE(app->consent.accessibility().isOurs) << name;
    }
}

TEST_F(DesktopConsentTest, ANewSessionIsAnotherMatter) {
    const auto login = [this](State state) {
        now.run += "+";
        now.state = state;
        now.turns = later.turns = "";
        start();
    };
    now.linked = later.linked = nullptr;
    later.state = State::missing;
    start().consent.turnAccessibility(true);
    pass();
    login(State::off);
    EXPECT_EQ(now.turns, "+") << "the yes stands, and the session has forgotten it";
    login(State::on);
    app->consent.turnAccessibility(false);
    pass();
    EXPECT_EQ(now.turns, "") << "this time somebody else did";

    later.state = now.state = State::off;
    app->consent.turnAccessibility(true);
    pass();
    login(State::on); // By the setting for later sessions.
    EXPECT_EQ(now.turns + later.turns, "");
    app->consent.turnAccessibility(false);
    pass();
    EXPECT_EQ(now.turns + later.turns, "--");
    login(State::off);
    EXPECT_EQ(now.turns + later.turns, "") << "it was taken back";
}

TEST_F(DesktopConsentTest, AStuckSwitchIsToldAndAStartWithTheSessionIsUndone) {
    now.isStuck = later.isStuck = true;
    start().consent.turnAccessibility(true);
    pass();
    EXPECT_TRUE(app->consent.accessibility().hasFailed);
    EXPECT_FALSE(app->consent.accessibility().isOurs);
    for (const bool wasThere : {false, true}) {
        autostart.state = wasThere ? State::on : State::off;
        app->consent.turnAutostart(true);
        pass();
        EXPECT_EQ(autostart.state, State::on);
        EXPECT_EQ(app->consent.autostart().isOurs, !wasThere);
        app->consent.turnAutostart(false);
        pass();
        EXPECT_EQ(autostart.state, wasThere ? State::on : State::off);
    }
}

} // namespace
} // namespace orvel
