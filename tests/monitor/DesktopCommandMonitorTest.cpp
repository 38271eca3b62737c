// What becomes of a Return, from the key to the command that is handed over.

#include "Orvel/monitor/DesktopCommandMonitor.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/monitor/GoogleJapaneseInput.h"
#include "monitor/AgentWindow.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint64_t command = 0x100000, shift = 0x20000, option = 0x80000, capsLock = 0x10000;
constexpr auto canary = "CANARY";

struct Monitoring : AgentWindow {
    Monitoring() {
        desktop.accessibility.latency = prompt;
        monitor.onCommand = [this](CapturedCommand captured) { taken.push_back(std::move(captured)); };
        monitor.onFailure = [this](const std::string& message, const std::string&) {
            failures.push_back(message);
        };
    }

    static constexpr SimulatedLatency prompt{200us, 200us, 200us};

    static TapEvent key(std::int64_t code, std::uint64_t flags = 0, bool isRepeat = false) {
        return {.type = TapEventType::keyDown, .keyCode = code, .flags = flags, .isRepeat = isRepeat};
    }
    static TapEvent up(std::int64_t code) { return {.type = TapEventType::keyUp, .keyCode = code}; }

    TapAnswer press(std::uint64_t flags = 0) { return monitor.handle(key(KeyCode::returnKey, flags)); }
    bool swallows(std::uint64_t flags = 0) { return press(flags) == TapAnswer::swallow; }

    /// The person does something as the given call to the application is made, from now on.
    void atCall(int number, std::function<void()> act) {
        desktop.accessibility.onRead = [this, number, seen = 0,
                                        act = std::move(act)](const auto&, std::string_view, bool) mutable {
            if (seen++ != number) return;
            const auto once = std::move(act);
            desktop.accessibility.onRead = nullptr;
            once();
        };
    }

    // Two copies take about as long.
    Task<std::optional<IdentifiedCodex>> identify(const CapturedReturn&, std::function<bool()> isWanted) {
        co_await desktop.loop.sleep(100ms);
        if (!isWanted()) co_return std::nullopt;
        if (codexFailure) throw CaptureFailure(*codexFailure);
        co_return IdentifiedCodex{thread, DiagnosticText("Public URL copy: Two fresh results")};
    }

    Task<void> keep(CapturedCommand captured) {
        co_await desktop.loop.sleep(5ms);
        if (diskIsFull) throw std::runtime_error("The disk is full.");
        EXPECT_NE(typed(), "") << "kept before it is removed";
        kept.push_back(captured.command.instruction);
    }

    bool isMonitored = true, isPrepared = true, diskIsFull = false;
    std::vector<std::string> kept;
    std::optional<DiagnosticText> codexFailure; ///< Of its identification.
    const ConversationReference thread{.agent = Agent::codex, .sessionID = "thread"};
    ChangeSignal changes;
    std::optional<std::string> targetVersion;
    std::optional<FixedWords> returnFailure; ///< Of Codex's keybindings.
    GoogleJapaneseInput japanese{changes,
                                 {desktop.loop, desktop.sideQueue, desktop.windows, desktop.applications,
                                  desktop.inputSources, [this](Agent) { return targetVersion; },
                                  [this] { return returnFailure; }}};
    DesktopCommandMonitor monitor{changes,
                                  {desktop.loop,
                                   desktop.accessibility,
                                   desktop.applications,
                                   desktop.inputSources,
                                   japanese,
                                   [this] { return isMonitored; },
                                   [this](Agent, ProcessID asked) { return isPrepared && asked == process; },
                                   [this](const CapturedReturn& captured, std::function<bool()> isWanted) {
                                       return identify(captured, std::move(isWanted));
                                   },
                                   [this](CapturedCommand captured) { return keep(std::move(captured)); },
                                   {}}};
    std::vector<CapturedCommand> taken;
    std::vector<std::string> failures;
    std::unique_ptr<Timer> timer;
};

// What passes

TEST_F(Monitoring, WhatIsNoCommandPassesUntouched) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        TapEvent event;
        std::uint64_t mostCalls;
        const char* line;
    };
    const auto returns = key(KeyCode::returnKey);
    const Case cases[] = {
        {"another key", [&] { type("/orvel go"); }, key(0), 0, ""},
        {"a Return that repeats", [&] { type("/orvel go"); }, key(KeyCode::returnKey, 0, true), 0, ""},
        {"a Return that is let go", [&] { type("/orvel go"); }, up(KeyCode::returnKey), 0, ""},
        {"its own key",
         [&] { type("/orvel go"); },
         {.type = TapEventType::keyDown, .keyCode = KeyCode::returnKey, .marker = EventPosting::marker},
         0,
         ""},
        {"another application",
         [&] { type("/orvel go"), desktop.applications.bringToFront(SimulatedApplications::self); }, returns,
         0, ""},
        {"while nothing is monitored", [&] { type("/orvel go"), isMonitored = false; }, returns, 0, ""},
        {"before the editor is readable", [&] { type("/orvel go"), isPrepared = false; }, returns, 0,
         "Editor read preparation: Incomplete"},
        {"with Shift", [&] { type("/orvel go"); }, key(KeyCode::returnKey, shift), 0,
         "Only Return and ⌘Return supported"},
        {"with Option and ⌘", [&] { type("/orvel go"); }, key(KeyCode::keypadEnter, option | command), 0,
         "Only Return and ⌘Return supported"},
        {"an ordinary message", [&] { type(std::string("do it ") + canary); }, returns, 2,
         "Command syntax mismatch"},
        {"nearly the command", [&] { type("/orvelgo"); }, returns, 2, "Command syntax mismatch"},
        {"nothing", [&] { type(""); }, returns, 4, "Command syntax mismatch"},
        {"no editor", [&] { application->unset("AXFocusedUIElement"); }, returns, 1, "Focused editor"},
        {"no text", [&] { editor->set("AXValue", 1.0); }, returns, 2, "could not be read as text"},
    };
    for (const auto kind : {Kind::codex, Kind::code, Kind::chat})
        for (const auto& test : cases) {
            SCOPED_TRACE(test.name);
            isMonitored = isPrepared = true;
            show(kind);
            test.prepare();
            const auto before = monitor.calls();
            EXPECT_EQ(monitor.handle(test.event), TapAnswer::pass);
            EXPECT_LE(monitor.calls() - before, test.mostCalls);
            EXPECT_THAT(monitor.state().diagnostics->text(), HasSubstr(test.line));
            EXPECT_THAT(monitor.history().report({}).text(), Not(HasSubstr(canary)));
            desktop.loop.run();
        }
    EXPECT_THAT(taken, IsEmpty());
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(Monitoring, ACommandInAnEditorThatIsNoComposerOfClaudePasses) {
    showChat();
    submit->remove();
    type("/orvel go");
    EXPECT_FALSE(swallows());
    EXPECT_THAT(monitor.state().diagnostics->text(), HasSubstr("Unsupported editor: Passed through"));
}

// A platform may show what is typed a little later than the application has it.
TEST_F(Monitoring, TheLastLettersOfACommandAreWaitedFor) {
    desktop.accessibility.lag = 50ms;
    for (const auto kind : {Kind::codex, Kind::code, Kind::chat}) {
        taken.clear();
        show(kind);
        type("/orve");
        monitor.handle(key(37));
        desktop.loop.outside(45ms, [&] { type("/orvel go"); });
        desktop.loop.runFor(10ms);
        monitor.handle(up(37));
        EXPECT_TRUE(swallows());
        desktop.loop.run();
        ASSERT_EQ(taken.size(), 1U);
        EXPECT_EQ(taken[0].command.instruction, "go");
        // Behind a pause nothing is waited for.
        type("do it");
        desktop.loop.runFor(60ms);
        const auto before = desktop.loop.uptime();
        EXPECT_FALSE(swallows());
        EXPECT_LT(desktop.loop.uptime() - before, 5ms);
    }
}

// What is stopped

TEST_F(Monitoring, ACommandIsNeverSentInDoubt) {
    struct Case {
        const char* name;
        Kind kind;
        std::function<void()> prepare;
        std::uint64_t flags;
        const char* reason;
    };
    const auto compose = [&] { editor->set("AXTextInputMarkedTextMarkerRange", AXRange{0, 2}); };
    const Case cases[] = {
        {"a Codex editor of which only a part is seen", Kind::codex, [&] { submit->remove(); }, 0,
         "Couldn't verify the conversation editor."},
        {"an editor that does not answer", Kind::chat,
         [&] {
             editor->statuses = {{"AXRole", AXStatus::cannotComplete}};
         },
         0, "Couldn't verify the conversation editor."},
        {"an application that is slow", Kind::codex,
         [&] {
             desktop.accessibility.latency = {15ms, 15ms, 15ms};
         },
         0, "Couldn't verify the conversation editor."},
        {"a composition", Kind::code, compose, 0, "Couldn't verify whether composition is pending."},
        {"a composition and ⌘", Kind::code, compose, command, "Couldn't verify composition confirmation."},
        {"an input method that says nothing", Kind::chat, [&] { desktop.inputSources.useGoogleHiragana(); },
         0, "Couldn't verify whether composition is pending."},
        {"nobody who takes it", Kind::chat, [&] { monitor.onCommand = nullptr; }, 0,
         "Couldn't recheck the editor and app"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        desktop.accessibility.latency = prompt;
        desktop.inputSources.useABC();
        show(test.kind);
        type("/orvel go");
        test.prepare();
        failures.clear();
        EXPECT_TRUE(swallows(test.flags));
        EXPECT_THAT(failures, IsEmpty()) << "told behind the key";
        monitor.handle(up(KeyCode::returnKey));
        desktop.loop.run();
        ASSERT_EQ(failures.size(), 1U);
        EXPECT_THAT(failures[0], testing::StartsWith(test.reason));
        EXPECT_EQ(typed(), "/orvel go");
        EXPECT_THAT(taken, IsEmpty());
    }
}

TEST_F(Monitoring, WhateverChangesWhileItLooksStopsIt) {
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"another application comes to the front",
         [&] { desktop.applications.bringToFront(SimulatedApplications::self); }},
        {"the focus moves", [&] { application->set("AXFocusedUIElement", submit->handle()); }},
        {"the page shows something else", [&] { showPage("https://claude.ai/epitaxy"); }},
        {"the editor goes", [&] { editor->remove(), application->unset("AXFocusedUIElement"); }},
    };
    showClaudeCode();
    type("/orvel go");
    const auto before = desktop.accessibility.reads();
    ASSERT_TRUE(swallows());
    const auto count = static_cast<int>(desktop.accessibility.reads() - before);
    monitor.handle(up(KeyCode::returnKey));
    monitor.forget();
    desktop.loop.run();
    taken.clear();
    for (const auto& [name, change] : changes)
        for (int call = 2; call < count - 2; ++call) {
            SCOPED_TRACE(testing::Message() << name << " at call " << call);
            showClaudeCode();
            type("/orvel go");
            atCall(call, change);
            const bool isSwallowed = swallows();
            monitor.handle(up(KeyCode::returnKey));
            desktop.accessibility.onRead = nullptr;
            desktop.loop.run();
            // In Claude what is certainly no composer any more passes; the command is never worked off.
            EXPECT_THAT(taken, IsEmpty());
            EXPECT_TRUE(isSwallowed || typed() == "/orvel go");
        }
}

// What is caught

TEST_F(Monitoring, ACommandIsRemovedAndHandedOver) {
    const std::pair<Kind, std::optional<CapturedConversationIdentity>> cases[] = {
        {Kind::code, ClaudeDesktopID{sessionID}}, {Kind::chat, std::nullopt}, {Kind::codex, thread}};
    for (const auto& [kind, identity] : cases)
        for (const std::uint64_t flags : {std::uint64_t(0), capsLock, command}) {
            show(kind);
            type("/orvel fix it\nplease ");
            const auto before = monitor.calls();
            EXPECT_TRUE(swallows(flags));
            EXPECT_LE(monitor.calls() - before, kind == Kind::codex ? 40U : 70U) << "while the key waits";
            EXPECT_THAT(taken, IsEmpty());
            monitor.handle(key(KeyCode::returnKey, flags, true));
            monitor.handle(up(KeyCode::returnKey));
            if (flags == command)
                monitor.handle({.type = TapEventType::flagsChanged, .keyCode = 55, .flags = 0});
            desktop.loop.run();
            ASSERT_EQ(taken.size(), 1U);
            EXPECT_EQ(taken[0], (CapturedCommand{{"fix it\nplease "}, agentOf(kind), identity, true}));
            EXPECT_EQ(typed(), "");
            EXPECT_EQ(kept.back(), "fix it\nplease ");
            EXPECT_THAT(failures, IsEmpty());
            EXPECT_EQ(monitor.history().events().back().input, ReturnInputClassification::unread)
                << "the repeat";
            taken.clear();
        }
}

TEST_F(Monitoring, ACommandInCodexStaysWhereItsConversationCanNotBeTold) {
    showCodex();
    type("/orvel go");
    codexFailure = DiagnosticText("No fresh conversation URL copy arrived.");
    ASSERT_TRUE(swallows());
    monitor.handle(up(KeyCode::returnKey));
    desktop.loop.run();
    EXPECT_THAT(failures, testing::ElementsAre("No fresh conversation URL copy arrived."));
    codexFailure.reset();

    ASSERT_TRUE(swallows());
    monitor.handle(up(KeyCode::returnKey));
    desktop.loop.runFor(50ms);
    monitor.handle(key(0)); // The person types on.
    desktop.loop.run();
    EXPECT_THAT(failures.back(), HasSubstr("Command removal and handoff stopped."));
    EXPECT_EQ(typed(), "/orvel go");
    EXPECT_THAT(taken, IsEmpty());
}

TEST_F(Monitoring, NothingIsRemovedThatCouldNotBeKept) {
    showChat();
    type("/orvel go");
    diskIsFull = true;
    ASSERT_TRUE(swallows());
    monitor.handle(up(KeyCode::returnKey));
    desktop.loop.run();
    EXPECT_THAT(failures, testing::ElementsAre(HasSubstr("Couldn't save the instructions.")));
    EXPECT_EQ(typed(), "/orvel go");
    EXPECT_THAT(taken, IsEmpty());
}

TEST_F(Monitoring, TheKeysBehindACaughtReturnAreSwallowedAndNoOthers) {
    showChat();
    type("/orvel");
    ASSERT_TRUE(swallows());
    EXPECT_EQ(monitor.handle(key(0)), TapAnswer::pass);
    EXPECT_EQ(monitor.handle(up(0)), TapAnswer::pass);
    EXPECT_EQ(monitor.handle(key(KeyCode::returnKey, 0, true)), TapAnswer::swallow);
    EXPECT_EQ(monitor.handle(key(KeyCode::keypadEnter, 0, true)), TapAnswer::pass);
    EXPECT_EQ(monitor.handle(up(KeyCode::returnKey)), TapAnswer::swallow);
    EXPECT_EQ(monitor.handle(up(KeyCode::returnKey)), TapAnswer::pass);
}

// What the person does between the key and the handing over decides whether it may be sent.
TEST_F(Monitoring, WhatIsDoneMeanwhileKeepsItFromBeingSent) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"a key", [&] { monitor.handle(key(0)); }},
        {"a click", [&] { monitor.handle({.type = TapEventType::leftMouseDown}); }},
        {"a modifier",
         [&] { monitor.handle({.type = TapEventType::flagsChanged, .keyCode = 56, .flags = shift}); }},
        {"another input method", [&] { desktop.inputSources.useGoogleHiragana(); }},
        {"another window",
         [&] { application->set("AXFocusedWindow", add(application, "AXWindow")->handle()); }},
        {"another application", [&] { desktop.applications.bringToFront(SimulatedApplications::self); }},
        {"another conversation", [&] { showPage("https://claude.ai/epitaxy"); }},
        {"another focus", [&] { application->set("AXFocusedUIElement", submit->handle()); }},
        {"monitoring ends", [&] { isMonitored = false; }},
        {"permission goes", [&] { desktop.accessibility.trusted = false; }},
    };
    showClaudeCode();
    type("/orvel go");
    ASSERT_TRUE(swallows());
    const auto before = desktop.accessibility.reads();
    monitor.handle(up(KeyCode::returnKey));
    desktop.loop.run();
    const auto count = static_cast<int>(desktop.accessibility.reads() - before);
    ASSERT_GT(count, 10);
    for (const auto& [name, act] : cases)
        for (int call = -1; call < count; ++call) {
            SCOPED_TRACE(testing::Message() << name << " at call " << call);
            isMonitored = desktop.accessibility.trusted = true;
            desktop.inputSources.useABC();
            showClaudeCode();
            type("/orvel go");
            taken.clear();
            ASSERT_TRUE(swallows());
            monitor.handle(up(KeyCode::returnKey));
            bool happened = false;
            const auto once = [&, act = act] { happened = true, act(); };
            if (call < 0)
                once();
            else
                atCall(call, once);
            desktop.loop.run();
            desktop.accessibility.onRead = nullptr;
            ASSERT_EQ(taken.size(), 1U) << "the instructions are handed over in any case";
            EXPECT_EQ(taken[0].command.instruction, "go");
            if (happened && call < count - 3) {
                EXPECT_FALSE(taken[0].isRemoved);
            }
            if (call < 0) {
                EXPECT_EQ(typed(), "/orvel go") << "not erased";
            }
        }
}

TEST_F(Monitoring, OnlyTheExactTextIsErasedAndOnlyOnce) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::string left;
        int writes;
        bool isRemoved;
        const char* description;
    };
    int writes = 0;
    const auto takes = [&](auto act) {
        return [&, act] {
            takesWrite = [&, act](const AXValue& value) {
                ++writes;
                return act(value);
            };
        };
    };
    const auto later = [&](MainLoop::Duration delay, const std::string& text) {
        return takes([&, delay, text](const AXValue&) {
            timer = desktop.loop.after(delay, [&, text] { type(text); });
            return AXStatus::success;
        });
    };
    const Case cases[] = {
        {"it was edited", [&] { type("/orvel gone"); }, "/orvel gone", 0, false, "changed"},
        {"it is taken at once", takes([&](const AXValue&) { return type(""), AXStatus::success; }), "", 1,
         true, "Removed"},
        {"a line break stays", takes([&](const AXValue&) { return type("\n"), AXStatus::success; }), "\n", 1,
         true, "Removed"},
        {"it is shown later", later(80ms, ""), "", 1, true, "Removed"},
        {"it is shown too late", later(400ms, ""), "", 1, false, "could not be verified"},
        {"the person types meanwhile", later(80ms, "new"), "new", 1, false, "could not be verified"},
        {"it is refused", takes([](const AXValue&) { return AXStatus::failure; }), "/orvel go", 1, false,
         "could not be verified"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        showChat();
        type("/orvel go");
        taken.clear();
        writes = 0;
        ASSERT_TRUE(swallows());
        monitor.handle(up(KeyCode::returnKey));
        test.prepare();
        desktop.loop.run();
        ASSERT_EQ(taken.size(), 1U);
        EXPECT_EQ(taken[0].command.instruction, "go");
        EXPECT_EQ(taken[0].isRemoved, test.isRemoved);
        EXPECT_EQ(writes, test.writes);
        EXPECT_EQ(typed(), test.left);
        EXPECT_THAT(monitor.state().commandRemovalDescription.get(), HasSubstr(test.description));
    }
}

// Behind the write that erases it, a command is nowhere but here.
TEST_F(Monitoring, ANewerReturnEndsTheWorkOnACommandAndLosesNoInstructions) {
    struct Case {
        const char* name;
        bool isErased;     ///< Although it can still be read, until after the newer Return.
        std::string newer; ///< What can be read when Return is pressed again.
        bool isStopped;
        std::vector<std::string> handedOver;
    };
    const Case cases[] = {
        {"it was not erased", false, "/orvel one", false, {"one"}},
        {"it was", true, "/orvel one", false, {"one"}},
        {"another command", true, "/orvel two", false, {"one", "two"}},
        {"another that is stopped", true, "/orvel two", true, {"one"}},
        {"one that is stopped, and the first stands there", false, "/orvel one", true, {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        show(Kind::chat);
        type("/orvel one");
        taken.clear();
        takesWrite = [](const AXValue&) { return AXStatus::success; };
        ASSERT_TRUE(swallows());
        monitor.handle(up(KeyCode::returnKey));
        desktop.loop.runFor(30ms);
        type(test.newer);
        if (!test.isErased) takesWrite = nullptr;
        if (test.isStopped) editor->statuses = {{"AXRole", AXStatus::cannotComplete}};
        ASSERT_TRUE(swallows());
        monitor.handle(up(KeyCode::returnKey));
        editor->statuses.clear();
        desktop.loop.runFor(8ms);
        if (test.newer == "/orvel two") takesWrite = nullptr;
        if (test.isErased && test.newer == "/orvel one") type("");
        if (test.isErased && test.isStopped) type("");
        desktop.loop.run();
        std::vector<std::string> handedOver;
        for (const auto& [command, source, identity, isRemoved] : taken) {
            handedOver.push_back(command.instruction);
            EXPECT_FALSE(isRemoved && taken.size() > 1 && command.instruction == "one")
                << "only the newer one may be sent";
        }
        EXPECT_THAT(handedOver, testing::UnorderedElementsAreArray(test.handedOver));
    }
}

// Under Google Japanese Input

struct JapaneseMonitoring : Monitoring {
    /// The known versions, a command with the caret at its end, and no candidates.
    void start(Kind kind) {
        desktop.inputSources.useGoogleHiragana();
        desktop.applications.bundles[GoogleIMEWindowPolicy::imePath] = {
            GoogleIMEWindowPolicy::imeBundleID, std::string(GoogleIMEWindowPolicy::supportedIMEVersion)};
        targetVersion = std::string(kind == Kind::codex ? GoogleIMEWindowPolicy::supportedCodexVersions[0]
                                                        : GoogleIMEWindowPolicy::supportedClaudeVersion);
        returnFailure.reset();
        desktop.windows.showCandidates(false);
        desktop.windows.isReadable = true;
        desktop.sideQueue.busyFor = 0s;
        japanese.refresh();
        show(kind);
        type("/orvel 直す");
        editor->set("AXSelectedTextRange", AXRange{9, 0});
        desktop.loop.run();
        failures.clear();
        taken.clear();
    }

    bool swallowsAll(std::uint64_t flags = 0) {
        const bool isSwallowed = swallows(flags);
        monitor.handle(up(KeyCode::returnKey));
        desktop.loop.run();
        return isSwallowed;
    }
    std::string report() const { return monitor.state().japaneseAttempt->text(); }
};

TEST_F(JapaneseMonitoring, CandidatesGetTheReturnAndWithoutThemTheCommandIsWorkedOff) {
    for (const auto kind : {Kind::codex, Kind::code}) {
        start(kind);
        desktop.windows.showCandidates(true);
        EXPECT_FALSE(swallowsAll()) << "it confirms the conversion";
        EXPECT_THAT(taken, IsEmpty());
        EXPECT_THAT(failures, IsEmpty());
        EXPECT_EQ(typed(), "/orvel 直す");
        EXPECT_THAT(report(), HasSubstr("Decision=confirmOriginalReturn"));
        EXPECT_THAT(report(), HasSubstr("After original Return: Same text as captured"));

        desktop.windows.showCandidates(false);
        EXPECT_TRUE(swallowsAll());
        ASSERT_EQ(taken.size(), 1U) << testing::PrintToString(failures) << report();
        EXPECT_EQ(taken[0].command.instruction, "直す");
        EXPECT_TRUE(taken[0].isRemoved);
        EXPECT_EQ(typed(), "");
    }
}

TEST_F(JapaneseMonitoring, WhatIsNotProvedStops) {
    struct Case {
        const char* name;
        std::function<void()> prepare;
        const char* reason;
        const char* report;
        std::uint64_t flags = 0;
    };
    const Case cases[] = {
        {"another version of the application", [&] { targetVersion = "1.0"; },
         "version does not match supported requirements (observed: 1.0). Input was kept without sending.",
         "Stopped at compatibility check"},
        {"an unknown version of the input method",
         [&] {
             desktop.applications.bundles.clear();
             japanese.refresh();
         },
         "Couldn't verify the Google Japanese Input version (observed: Unavailable).", "compatibility check"},
        {"another layout", [&] { desktop.inputSources.layoutID = "com.apple.keylayout.French"; },
         "Couldn't verify an ABC/US input method layout (observed: com.apple.keylayout.French).",
         "compatibility check"},
        {"no selection", [&] { editor->unset("AXSelectedTextRange"); }, "Couldn't read the editor selection.",
         "Stopped at selection check"},
        {"a negative selection",
         [&] {
             editor->set("AXSelectedTextRange", AXRange{-1, 0});
         },
         "Couldn't read the editor selection.", "Stopped at selection check"},
        {"no window", [&] { application->unset("AXFocusedWindow"); }, "Couldn't verify the original window.",
         "Stopped at original window check"},
        {"a list of windows that takes too long", [&] { desktop.windows.duration = 26ms; },
         "Couldn't verify Japanese input immediately before activation.", "fresh window=unavailable"},
        {"the same with ⌘", [&] { desktop.windows.duration = 26ms; },
         "Confirm Japanese composition before pressing ⌘Return.", "fresh window=unavailable", command},
        {"a list that can't be read", [&] { desktop.windows.isReadable = false; },
         "Couldn't verify activation.", "state=unavailable"},
        {"candidates and ⌘", [&] { desktop.windows.showCandidates(true); }, "Couldn't verify activation.",
         "state=presence", command},
        {"the caret in the middle",
         [&] {
             editor->set("AXSelectedTextRange", AXRange{8, 0});
         },
         "Couldn't verify activation.", "context=true"},
        {"a selection",
         [&] {
             editor->set("AXSelectedTextRange", AXRange{8, 1});
         },
         "Couldn't verify activation.", "context=true"},
        {"a list that leaves no time for the rest", [&] { desktop.windows.duration = 24'900us; },
         "Couldn't verify activation.", "context=true"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        desktop.accessibility.latency = prompt;
        desktop.windows.duration = 3ms;
        start(Kind::code);
        test.prepare();
        EXPECT_TRUE(swallowsAll(test.flags));
        ASSERT_EQ(failures.size(), 1U);
        EXPECT_THAT(failures[0], HasSubstr(test.reason));
        EXPECT_THAT(report(), HasSubstr(test.report));
        EXPECT_EQ(typed(), "/orvel 直す");
        EXPECT_THAT(taken, IsEmpty());
    }
    start(Kind::codex);
    returnFailure = FixedWords("Couldn't read Codex keybindings within the time limit.");
    EXPECT_TRUE(swallowsAll());
    EXPECT_THAT(failures,
                testing::ElementsAre(HasSubstr("keybindings within the time limit. Input was kept")));
    start(Kind::chat);
    EXPECT_TRUE(swallowsAll());
    EXPECT_THAT(failures, testing::ElementsAre(HasSubstr("Couldn't verify whether composition is pending.")));
}

// A slow look at the candidates is followed by nothing that relies on it.
TEST_F(JapaneseMonitoring, WhateverChangesAroundTheLookStopsIt) {
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"candidates open", [&] { desktop.windows.showCandidates(true); }},
        {"the text grows", [&] { type("/orvel 直す。"); }},
        {"the caret moves",
         [&] {
             editor->set("AXSelectedTextRange", AXRange{2, 0});
         }},
        {"a key is pressed", [&] { monitor.handle(key(0)); }},
        {"another source", [&] { desktop.inputSources.useABC(); }},
        {"text is pending",
         [&] {
             editor->set("AXTextInputMarkedTextMarkerRange", AXRange{0, 2});
         }},
        {"another application", [&] { desktop.applications.bringToFront(SimulatedApplications::self); }},
    };
    for (const auto& [name, change] : changes) {
        SCOPED_TRACE(name);
        start(Kind::code);
        ASSERT_TRUE(swallows());
        desktop.loop.runFor(2ms); // The instructions are being kept.
        change();
        monitor.handle(up(KeyCode::returnKey));
        desktop.loop.run();
        EXPECT_THAT(taken, IsEmpty());
        EXPECT_THAT(failures, testing::ElementsAre(HasSubstr("Couldn't recheck Japanese input.")));
        EXPECT_NE(typed(), "");
        editor->unset("AXTextInputMarkedTextMarkerRange");
    }
}

TEST_F(JapaneseMonitoring, ATextThatIsShownAsPendingGetsItsReturn) {
    start(Kind::code);
    editor->set("AXTextInputMarkedTextMarkerRange", AXRange{7, 2});
    EXPECT_FALSE(swallowsAll());
    EXPECT_THAT(monitor.state().diagnostics->text(), HasSubstr("Composition rechecked / Return: Passed"));
    EXPECT_TRUE(swallowsAll(command));
    EXPECT_THAT(failures, testing::ElementsAre(HasSubstr("Confirm composition before pressing ⌘Return.")));

    desktop.accessibility.onRead = [&](const auto&, std::string_view name, bool) {
        if (name == "AXTextInputMarkedTextMarkerRange")
            editor->set("AXTextInputMarkedTextMarkerRange", AXRange{7, 3});
    };
    EXPECT_TRUE(swallowsAll()) << "another text is pending by now";
    EXPECT_THAT(failures.back(), HasSubstr("Couldn't recheck input immediately before composition"));
    EXPECT_THAT(taken, IsEmpty());
}

// No version of it is known, and no candidates are looked at.
TEST_F(JapaneseMonitoring, WhatAnInputMethodTellsItselfIsProof) {
    for (const auto kind : {Kind::codex, Kind::code, Kind::chat}) {
        start(kind);
        desktop.applications.bundles.clear();
        japanese.refresh();
        desktop.inputSources.source->tellsComposition = true;
        editor->set("AXTextInputMarkedTextMarkerRange", AXRange{7, 2});
        EXPECT_FALSE(swallowsAll()) << "it confirms";
        EXPECT_THAT(taken, IsEmpty());
        editor->set("AXTextInputMarkedTextMarkerRange", {});
        EXPECT_TRUE(swallowsAll());
        EXPECT_THAT(taken, testing::SizeIs(1));
        EXPECT_THAT(failures, IsEmpty());

        start(kind);
        desktop.inputSources.source->tellsComposition = true;
        editor->unset("AXTextInputMarkedTextMarkerRange");
        desktop.applications.bundles.clear();
        japanese.refresh();
        EXPECT_TRUE(swallowsAll()) << "this editor is none of its own";
        EXPECT_THAT(taken, IsEmpty());
        EXPECT_THAT(failures, testing::SizeIs(1));
    }
}

// What is told

TEST_F(Monitoring, HoldsAKeyNoLongerThanItsBudget) {
    for (const auto latency : {15ms, 40ms, 6'000ms})
        for (const auto kind : {Kind::codex, Kind::code, Kind::chat}) {
            desktop.accessibility.latency = {latency, latency, latency};
            show(kind);
            type("/orvel go");
            const auto started = desktop.loop.uptime();
            EXPECT_EQ(swallows(), latency == 15ms)
                << "an application that never answers can't be read at all";
            EXPECT_LE(desktop.loop.uptime() - started, TimedReads::budget);
            monitor.handle(up(KeyCode::returnKey));
            desktop.loop.run();
        }
}

TEST_F(Monitoring, NothingOfAnEditorIsEverTold) {
    for (const auto kind : {Kind::codex, Kind::code, Kind::chat}) {
        show(kind);
        type(std::string("/orvel ") + canary);
        for (const auto& element : {window, page, submit, editor})
            for (const char* name : {"AXTitle", "AXHelp"}) element->set(name, std::string(canary));
        press();
        monitor.handle(up(KeyCode::returnKey));
        desktop.loop.run();
        const auto& state = monitor.state();
        EXPECT_THAT(monitor.history().report({}).text() + state.diagnostics->text() +
                        state.lastCommandDiagnostics->text() + state.status.get() +
                        state.commandRemovalDescription.get(),
                    Not(HasSubstr(canary)));
    }
}

} // namespace
} // namespace orvel
