// Sending into Claude step by step: what is written and pressed, what each way to fail is told as, and that
// nothing whatever makes it write twice, press twice or call a retry safe that is not.

#include "ScriptedClaude.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* generic = claudeEditorUnverified;
const std::string draftFound = "Claude has a draft, attachment, or reply in progress. Nothing was changed.";
const std::string inputChanged = "Claude input state changed. Nothing was changed.";
const std::string windowChanged = "The Claude window changed. Stopped without inserting a message.";
const std::string timedOut = "The Claude view did not become ready in time. No message was inserted.";
const std::string unverified =
    "Couldn't verify insertion into Claude. Do not insert again; check the delivery record and editor.";
const std::string stateChanged = "The Claude conversation, editor, content, attachments, or reply state "
                                 "changed. Stopped and kept the content.";
const std::string buttonChanged =
    "The Claude conversation, editor, content, or Send button changed. Content was kept without sending.";
const std::string enabledUnreadable =
    "Couldn't read whether Claude’s Send button is enabled. Stopped and kept the content.";
const std::string notReceived = "Claude’s Send action was attempted, but delivery is not confirmed in the "
                                "destination record. The message is kept; no automatic resend.";
const std::string draftDiffers =
    "The saved message does not match the Claude editor content and state. Stopped without editing.";

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}
std::string secondLine(const std::string& text) {
    const auto end = text.find('\n');
    return end == text.npos ? "" : text.substr(end + 1);
}

TEST(ClaudeSend, WritesOncePressesOnceAndEndsWithTheReceipt) {
    ScriptedClaude claude;
    const auto outcome = claude.perform();
    EXPECT_TRUE(outcome.succeeded) << outcome.message;
    EXPECT_EQ(claude.transcript, std::vector<std::string>{"Hello"});
    EXPECT_EQ(claude.writes, 1);
    EXPECT_EQ(claude.pressed.size(), 1U);
    EXPECT_EQ(claude.applications.opened, 1);
    EXPECT_EQ(claude.applications.asked, std::vector<std::string>{"com.anthropic.claudefordesktop"});
    EXPECT_TRUE(claude.applications.urls.empty());
    EXPECT_TRUE(claude.tree.unboundedReads.empty());
    EXPECT_NE(claude.line().find("stage=submission readiness_reads=1 elapsed_ms=0 route_same=true pages=1 "
                                 "code_pages=1 front=claude editors=1 parent_depth=5 AX=No failure recorded"),
              std::string::npos)
        << claude.line();
    // One look at the route, five snapshots, and the window between them.
    EXPECT_LE(claude.tree.reads, 520) << "reads of an ordinary send";
    RecordProperty("reads", claude.tree.reads);
}

TEST(ClaudeSend, TakesNoMoreReadsWhereTheTreeIsLarge) {
    // What grows with the page are the walks: of the route, and twice in each of five snapshots.
    ScriptedClaude small, large;
    for (int i = 0; i < 100; ++i) large.tree.add(large.page->children.front(), "AXGroup");
    EXPECT_TRUE(small.perform().succeeded && large.perform().succeeded);
    EXPECT_EQ(large.tree.reads - small.tree.reads, 100 * (2 + 5 * (2 + 2 + 1)));
}

TEST(ClaudeSend, GatesBeforeAnythingIsOpened) {
    const std::string unreachable = "Couldn't verify the Claude Desktop Code conversation ID or "
                                    "accessibility permission. Use Copy to recover.";
    struct Row {
        const char* name;
        void (*change)(ScriptedClaude&, ConversationReference&);
        std::string message;
        int opened;
    };
    for (const auto& [name, change, message, opened] : std::vector<Row>{
             {"a Codex conversation", [](auto&, auto&to) { to.agent = Agent::codex; }, unreachable, 0},
             {"no identifier", [](auto&, auto&to) { to.desktopSessionID.reset(); }, unreachable, 0},
             {"an identifier that leads elsewhere", [](auto&, auto&to) { *to.desktopSessionID += "/x"; },
              unreachable, 0},
             {"no permission", [](auto&claude, auto&) { claude.tree.trusted = false; }, unreachable, 0},
             {"not installed", [](auto&claude, auto&) { claude.applications.isInstalled = false; },
              "Couldn't open Claude. Use Copy to recover.", 0},
             {"not opened", [](auto&claude, auto&) { claude.applications.opens = false; },
              "Couldn't open Claude. Use Copy to recover.", 1}}) {
        ScriptedClaude claude;
        auto to = ScriptedClaude::reference();
        change(claude, to);
        const auto outcome = claude.perform("Hello", to);
        EXPECT_EQ(outcome.message, message) << name;
        EXPECT_FALSE(outcome.canRetry) << name;
        EXPECT_EQ(claude.applications.opened, opened) << name;
        EXPECT_EQ(claude.tree.reads, 0) << name;
        EXPECT_NE(claude.line().find("stage=launch"), std::string::npos) << name;
    }
}

struct Failing {
    const char* name;
    void (*change)(ScriptedClaude&);
    std::string message;
    bool canRetry;
    int writes;
    std::size_t presses;
    std::string summary; // The second line, where there is one.
};

const std::string sameEditor = "Input: Same editor=true / Content=";

const Failing failures[] = {
    // Before the insertion
    {"another program in front",
     [](ScriptedClaude& c) { c.applications.front->bundleID = "com.apple.finder"; }, generic, true, 0, 0, ""},
    {"a draft", [](ScriptedClaude& c) { c.type("Mine"); }, "Claude has a draft. Nothing was changed.", true,
     0, 0, ""},
    {"a Send button without a draft", [](ScriptedClaude& c) { c.addButton("AXTitle", "Send"); }, draftFound,
     true, 0, 0, ""},
    {"an attachment", [](ScriptedClaude& c) { c.addButton("AXTitle", "Remove a.png"); }, draftFound, true, 0,
     0, ""},
    {"a reply", [](ScriptedClaude& c) { c.addButton("AXTitle", "Stop"); }, draftFound, true, 0, 0, ""},
    {"a page that is never complete",
     [](ScriptedClaude& c) { c.root->fail("AXRole", AXStatus::cannotComplete); }, timedOut, true, 0, 0, ""},
    {"a page that can't be read", [](ScriptedClaude& c) { c.root->fail("AXRole", AXStatus::failure); },
     "Couldn't read the Claude view. AX status=-25200. Message content is kept.", true, 0, 0, ""},

    // The insertion
    {"a refused write", [](ScriptedClaude& c) { c.writeStatus = AXStatus::failure; }, unverified, false, 1, 0,
     ""},
    {"a write that may have happened", [](ScriptedClaude& c) { c.writeStatus = AXStatus::mayHaveHappened; },
     unverified, false, 1, 0, ""},

    // Behind it
    {"a text that did not stay", [](ScriptedClaude& c) { c.afterWrite = [&c] { c.type("Hello!"); }; },
     stateChanged, false, 1, 0,
     "Send enabled=true (AX succeeded / Boolean) / press AX=Not attempted / Receipt after boundary=false / " +
         sameEditor +
         "Different content / Send=true (AX succeeded / Boolean) / Replying=false / "
         "Attachments=false"},
    {"an attachment that comes",
     [](ScriptedClaude& c) { c.afterWrite = [&c] { c.addButton("AXTitle", "Remove a.png"); }; }, stateChanged,
     false, 1, 0,
     "Send enabled=true (AX succeeded / Boolean) / press AX=Not attempted / Receipt after boundary=false / " +
         sameEditor +
         "Unchanged saved message / Send=true (AX succeeded / Boolean) / Replying=false / "
         "Attachments=true"},
    {"a page that leaves",
     [](ScriptedClaude& c) {
         c.afterWrite = [&c] { c.show(std::string("/epitaxy/") + ScriptedClaude::other); };
     },
     "Claude is not displaying the selected destination conversation. No message was inserted.", false, 1, 0,
     "Send enabled=Unread / press AX=Not attempted / Receipt after boundary=false / Input: Unreadable or not "
     "the original route"},
    {"a page that is made anew",
     [](ScriptedClaude& c) {
         c.afterWrite = [&c] { c.show(std::string("/epitaxy/") + ScriptedClaude::target); };
     },
     stateChanged, false, 1, 0,
     "Send enabled=No Send button / press AX=Not attempted / Receipt after boundary=false / Input: Same "
     "editor=false / Content=Whitespace only / Send=No Send button / Replying=false / Attachments=false"},
    {"Send that stays disabled",
     [](ScriptedClaude& c) { c.afterWrite = [&c] { c.send->set("AXEnabled", false); }; },
     "Couldn't confirm that Claude’s Send button became enabled. The editor content is kept.", false, 1, 0,
     "Send enabled=false (AX succeeded / Boolean) / press AX=Not attempted / Receipt after boundary=false "
     "/ " +
         sameEditor +
         "Unchanged saved message / Send=false (AX succeeded / Boolean) / Replying=false / "
         "Attachments=false"},
    {"Send of which nobody knows",
     [](ScriptedClaude& c) { c.afterWrite = [&c] { c.send->attributes.erase("AXEnabled"); }; },
     enabledUnreadable, false, 1, 0,
     "Send enabled=Unavailable AX=-25205 / press AX=Not attempted / Receipt after boundary=false / " +
         sameEditor +
         "Unchanged saved message / Send=Unavailable AX=-25205 / Replying=false / "
         "Attachments=false"},
    {"a refused press", [](ScriptedClaude& c) { c.pressStatus = AXStatus::cannotComplete; },
     "Couldn't verify Claude’s send action. Check delivery records without resending.", false, 1, 1,
     "Send enabled=true (AX succeeded / Boolean) / press AX=-25204 / Receipt after boundary=false / " +
         sameEditor +
         "Unchanged saved message / Send=true (AX succeeded / Boolean) / Replying=false / "
         "Attachments=false"},
    {"a press that does nothing", [](ScriptedClaude& c) { c.sends = false; }, notReceived, false, 1, 1,
     "Send enabled=true (AX succeeded / Boolean) / press AX=0 / Receipt after boundary=false / " +
         sameEditor +
         "Unchanged saved message / Send=true (AX succeeded / Boolean) / Replying=false / Attachments=false"},
    {"a receipt that does not come", [](ScriptedClaude& c) { c.receiptsAreLate = true; }, notReceived, false,
     1, 1,
     "Send enabled=true (AX succeeded / Boolean) / press AX=0 / Receipt after boundary=false / " +
         sameEditor + "Whitespace only / Send=No Send button / Replying=false / Attachments=false"},
};

TEST(ClaudeSend, TellsEachFailureAndWhetherARetryIsSafe) {
    for (const auto& [name, change, message, canRetry, writes, presses, summary] : failures) {
        ScriptedClaude claude;
        change(claude);
        const auto outcome = claude.perform();
        EXPECT_FALSE(outcome.succeeded) << name;
        EXPECT_EQ(firstLine(outcome.message), message) << name;
        EXPECT_EQ(secondLine(outcome.message), summary) << name;
        EXPECT_EQ(outcome.canRetry, canRetry) << name;
        EXPECT_EQ(claude.writes, writes) << name;
        EXPECT_EQ(claude.pressed.size(), presses) << name;
        EXPECT_EQ(claude.line().find("Hello"), std::string::npos) << name;
    }
}

TEST(ClaudeSend, WaitsForAPageThatIsBeingDrawnForFiveSeconds) {
    for (const auto& [readyAfter, succeeds] : {std::pair{4s, true}, std::pair{6s, false}}) {
        ScriptedClaude claude;
        claude.root->fail("AXRole", AXStatus::invalidElement);
        const auto timer = claude.loop.after(readyAfter, [&] { claude.root->set("AXRole", "AXGroup"); });
        EXPECT_EQ(claude.perform().succeeded, succeeds) << readyAfter.count();
        EXPECT_EQ(claude.writes, succeeds ? 1 : 0);
    }
}

TEST(ClaudeSend, WaitsUntilSendIsEnabled) {
    for (const auto& [enabledAfter, succeeds] : {std::pair{2000ms, true}, std::pair{2200ms, false}}) {
        ScriptedClaude claude;
        std::unique_ptr<Timer> timer;
        claude.afterWrite = [&, delay = enabledAfter] {
            claude.send->set("AXEnabled", false);
            timer = claude.loop.after(delay, [&] { claude.send->set("AXEnabled", true); });
        };
        EXPECT_EQ(claude.perform().succeeded, succeeds);
        EXPECT_EQ(claude.pressed.size(), succeeds ? 1U : 0U);
    }
}

TEST(ClaudeSend, ALateReceiptIsWaitedForAlmostSixSeconds) {
    for (const auto& [receivedAfter, succeeds] : {std::pair{5800ms, true}, std::pair{5900ms, false}}) {
        ScriptedClaude claude;
        claude.receiptsAreLate = true;
        std::unique_ptr<Timer> timer;
        claude.onPress = [&, delay = receivedAfter](ScriptedNode&) {
            claude.receiptChecks = 0;
            timer = claude.loop.after(delay, [&] { claude.receiptsAreLate = false; });
        };
        EXPECT_EQ(claude.perform().succeeded, succeeds);
        EXPECT_EQ(claude.receiptChecks, 40);
    }
}

TEST(ClaudeSend, AReceiptAtAnyMomentEndsItWithoutAnotherAct) {
    int checks = 0;
    {
        ScriptedClaude claude;
        claude.perform();
        checks = claude.receiptChecks;
    }
    ASSERT_EQ(checks, 5); // Before all, before the wait for Send, at its read, before the press, behind it.
    for (int confirmed = 1; confirmed <= checks; ++confirmed) {
        ScriptedClaude claude;
        int check = 0;
        const auto receipt = [&]() -> Task<bool> { co_return ++check >= confirmed; };
        const auto outcome =
            claude.run(claude.sender.performSend("Hello", ScriptedClaude::reference(), receipt));
        EXPECT_TRUE(outcome.succeeded) << confirmed;
        EXPECT_EQ(claude.writes, confirmed > 1 ? 1 : 0);
        EXPECT_EQ(claude.pressed.size(), confirmed > 4 ? 1U : 0U);
    }
}

TEST(ClaudeSend, AReceiptCheckThatFailsStopsItByItsPhase) {
    for (int failing = 1; failing <= 5; ++failing) {
        ScriptedClaude claude;
        int check = 0;
        const auto receipt = [&]() -> Task<bool> {
            if (++check == failing) throw RelaySendError("The transcript is gone.", true);
            co_return false;
        };
        const auto outcome =
            claude.run(claude.sender.performSend("Hello", ScriptedClaude::reference(), receipt));
        EXPECT_EQ(firstLine(outcome.message), "The transcript is gone.") << failing;
        EXPECT_EQ(outcome.canRetry, failing == 1) << failing;
        EXPECT_EQ(claude.pressed.size(), failing == 5 ? 1U : 0U) << failing;
    }
}

TEST(ClaudeSend, SubmitsADraftThatStandsThereWithoutWriting) {
    struct Row {
        const char* name;
        void (*change)(ScriptedClaude&);
        std::string message;
        std::size_t presses;
    };
    for (const auto& [name, change, message, presses] : std::vector<Row>{
             {"the saved message", [](ScriptedClaude& c) { c.type("Hello"); }, "", 1},
             {"it has arrived", [](ScriptedClaude& c) { c.transcript = {"Hello"}; }, "", 0},
             {"another text", [](ScriptedClaude& c) { c.type("Hello "); }, draftDiffers, 0},
             {"nothing", [](ScriptedClaude&) {}, draftDiffers, 0},
             {"an attachment",
              [](ScriptedClaude& c) {
                  c.type("Hello");
                  c.addButton("AXTitle", "Remove a.png");
              },
              draftDiffers, 0},
             {"a reply",
              [](ScriptedClaude& c) {
                  c.type("Hello");
                  c.addButton("AXTitle", "Stop");
              },
              draftDiffers, 0},
             {"another conversation",
              [](ScriptedClaude& c) { c.show(std::string("/epitaxy/") + ScriptedClaude::other); },
              "Claude is not displaying the selected destination conversation. No message was inserted.", 0},
             {"no permission", [](ScriptedClaude& c) { c.tree.trusted = false; }, generic, 0},
             {"not opened", [](ScriptedClaude& c) { c.applications.opens = false; },
              "Couldn't open Claude. Use Copy to recover.", 0}}) {
        ScriptedClaude claude;
        change(claude);
        const auto outcome = claude.submitExisting();
        EXPECT_EQ(outcome.message, message) << name;
        EXPECT_EQ(outcome.succeeded, message.empty()) << name;
        EXPECT_FALSE(outcome.canRetry) << name;
        EXPECT_EQ(claude.writes, 0) << name;
        EXPECT_EQ(claude.pressed.size(), presses) << name;
        EXPECT_TRUE(claude.applications.urls.empty()) << name;
    }
}

TEST(ClaudeSend, DiagnosesWithoutContent) {
    ScriptedClaude claude;
    claude.sends = false;
    claude.perform("Canary");
    claude.type("Canary 𝄞");
    std::optional<std::string> report;
    claude.run(claude.sender.diagnose(ScriptedClaude::reference()), report);
    ASSERT_TRUE(report);
    EXPECT_EQ(
        firstLine(*report),
        "Characters=9 / Attachments=false / Replying=false / Send enabled=true (AX succeeded / Boolean)");
    EXPECT_NE(
        report->find("\nLatest send (may not be the attempt in the current editor): Send enabled=true (AX "
                     "succeeded / Boolean) / press AX=0 / Receipt after boundary=false / Input: Same "
                     "editor=true / Content=Unchanged saved message / "),
        std::string::npos)
        << *report;
    EXPECT_NE(report->find("\nClaude transfer attempts (this app session, no content):\ntransfer=AAAAAAAA-"),
              std::string::npos);
    EXPECT_EQ(report->find("Canary"), std::string::npos);
    EXPECT_EQ(claude.writes, 1) << "only the send's own";

    claude.applications.front.reset();
    report.reset();
    const auto outcome = claude.run(claude.sender.diagnose(ScriptedClaude::reference()), report);
    EXPECT_EQ(outcome.message, "Claude is not in the foreground. Show the destination conversation before "
                               "sending.\n" +
                                   claude.history.description().text());
    EXPECT_FALSE(outcome.canRetry);
}

TEST(ClaudeSend, ForgettingTheTaskEndsItWhereItWaits) {
    ScriptedClaude claude;
    claude.receiptsAreLate = true;
    Outcome outcome;
    {
        TaskScope tasks;
        tasks.start(ScriptedClaude::observe(
            claude.sender.performSend("Hello", ScriptedClaude::reference(), claude.receiptOf("Hello")),
            outcome));
        claude.loop.runFor(1s);
        EXPECT_FALSE(tasks.isIdle());
    }
    const auto reads = claude.tree.reads;
    claude.loop.run();
    EXPECT_EQ(claude.tree.reads, reads);
    EXPECT_TRUE(outcome.message.empty());
}

// What may happen to Claude while it is being read.
struct Disturbance {
    const char* name;
    void (*happen)(ScriptedClaude&);
};

const Disturbance disturbances[] = {
    {"the person types", [](ScriptedClaude& c) { c.type("Mine"); }},
    {"the person goes on typing behind the text", [](ScriptedClaude& c) { c.type("Hello and mine"); }},
    {"the text goes away", [](ScriptedClaude& c) { c.type(""); }},
    {"the person sends", [](ScriptedClaude& c) { c.deliver(); }},
    {"another program comes to the front",
     [](ScriptedClaude& c) {
         c.applications.front = RunningApplication{"com.apple.finder", 3};
     }},
    {"another window of Claude",
     [](ScriptedClaude& c) {
         auto& window = c.tree.add(c.tree.applicationNode, "AXWindow");
         c.tree.applicationNode->set("AXFocusedWindow", ScriptedTree::elementOf(window));
     }},
    {"another conversation",
     [](ScriptedClaude& c) { c.show(std::string("/epitaxy/") + ScriptedClaude::other); }},
    {"the page made anew",
     [](ScriptedClaude& c) { c.show(std::string("/epitaxy/") + ScriptedClaude::target); }},
    {"an attachment", [](ScriptedClaude& c) { c.addButton("AXTitle", "Remove a.png"); }},
    {"a reply begins", [](ScriptedClaude& c) { c.addButton("AXTitle", "Stop"); }},
    {"a second Send button", [](ScriptedClaude& c) { c.addButton("AXTitle", "Send"); }},
    {"Send made anew", [](ScriptedClaude& c) { c.replaceSendButton(); }},
    {"the program ends",
     [](ScriptedClaude& c) {
         c.applications.front.reset();
         c.tree.remove(*c.window);
     }},
    {"one read too late",
     [](ScriptedClaude& c) { c.tree.failures[c.tree.reads] = AXStatus::cannotComplete; }},
    {"one read of nothing",
     [](ScriptedClaude& c) { c.tree.failures[c.tree.reads] = AXStatus::invalidElement; }},
    {"one read refused", [](ScriptedClaude& c) { c.tree.failures[c.tree.reads] = AXStatus::failure; }},
    {"one read without value", [](ScriptedClaude& c) { c.tree.failures[c.tree.reads] = AXStatus::noValue; }},
};

// One disturbance at one read; the rules that nothing may break.
void disturb(const Disturbance& disturbance, int read, bool startsElsewhere) {
    const std::string start = startsElsewhere ? ScriptedClaude::other : ScriptedClaude::target;
    ScriptedClaude claude("/epitaxy/" + start);
    bool isForeign = false; // Whether the text went into another conversation.
    claude.tree.beforeRead = [&](int number) {
        if (number == read) disturbance.happen(claude);
    };
    claude.afterWrite = [&] {
        const auto* url = claude.page->attributes.at("AXURL").as<AXURL>();
        isForeign = url->text != std::string("https://claude.ai/epitaxy/") + ScriptedClaude::target;
    };
    const auto outcome = claude.perform();
    const auto context = std::string(disturbance.name) + " at read " + std::to_string(read) +
                         (startsElsewhere ? ", from elsewhere" : "") + ": " + outcome.message;
    ASSERT_LE(claude.writes, 1) << context;
    ASSERT_LE(claude.pressed.size(), 1U) << context;
    ASSERT_FALSE(isForeign) << context;
    ASSERT_TRUE(claude.pressed.empty() || claude.writes == 1) << context;
    const bool hasArrived =
        std::find(claude.transcript.begin(), claude.transcript.end(), "Hello") != claude.transcript.end();
    ASSERT_TRUE(!outcome.succeeded || hasArrived) << context;
    ASSERT_TRUE(outcome.succeeded || outcome.canRetry == (claude.writes == 0)) << context;
    ASSERT_EQ(claude.history.description().text().find("Mine"), std::string::npos) << context;
}

TEST(ClaudeSend, NothingThatHappensAtAnyReadBreaksTheRules) {
    for (const bool startsElsewhere : {false, true}) {
        ScriptedClaude undisturbed(std::string("/epitaxy/") +
                                   (startsElsewhere ? ScriptedClaude::other : ScriptedClaude::target));
        ASSERT_TRUE(undisturbed.perform().succeeded);
        for (const auto& disturbance : disturbances)
            for (int read = 1; read <= undisturbed.tree.reads; ++read) {
                disturb(disturbance, read, startsElsewhere);
                if (testing::Test::HasFatalFailure()) return;
            }
    }
}

} // namespace
} // namespace orvel
