// Sending into Claude step by step: what is written and pressed, what each way to fail is told as, and that
// nothing whatever makes it write twice, press twice or call a retry safe that is not.

#include "delivery/ScriptedClaude.h"

#include <set>

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* generic = claudeEditorUnverified;
const std::string unverified =
    "Couldn't verify insertion into Claude. Do not insert again; check the delivery record and editor.";
const std::string stateChanged = "The Claude conversation, editor, content, attachments, or reply state "
                                 "changed. Stopped and kept the content.";
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
    const struct {
        const char* name;
        void (*change)(ScriptedClaude&, ConversationReference&);
        std::string message;
        int opened = 0;
    } cases[] = {
        {"a Codex conversation", [](auto&, auto& to) { to.agent = Agent::codex; }, unreachable},
        {"no identifier", [](auto&, auto& to) { to.desktopSessionID.reset(); }, unreachable},
        {"an identifier that leads elsewhere", [](auto&, auto& to) { *to.desktopSessionID += "/x"; },
         unreachable},
        {"no permission", [](auto& c, auto&) { c.tree.trusted = false; }, unreachable},
        {"not installed", [](auto& c, auto&) { c.applications.isInstalled = false; }, notOpened},
        {"not opened", [](auto& c, auto&) { c.applications.opens = false; }, notOpened, 1},
    };
    for (const auto& [name, change, message, opened] : cases) {
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
    std::string summary = ""; // The second line, where there is one.
    std::size_t presses = 0;
};

// A retry is safe only where nothing was written.
void expectFailure(const Failing& failing, int writes) {
    SCOPED_TRACE(failing.name);
    ScriptedClaude claude;
    failing.change(claude);
    const auto outcome = claude.perform();
    EXPECT_FALSE(outcome.succeeded);
    EXPECT_EQ(firstLine(outcome.message), failing.message);
    EXPECT_EQ(secondLine(outcome.message), failing.summary);
    EXPECT_EQ(outcome.canRetry, writes == 0);
    EXPECT_EQ(claude.writes, writes);
    EXPECT_EQ(claude.pressed.size(), failing.presses);
    EXPECT_EQ(claude.line().find("Hello"), std::string::npos);
}

TEST(ClaudeSend, TellsEachFailureBeforeTheInsertionAsSafeToRetry) {
    const Failing failures[] = {
        {"another program in front", [](auto& c) { c.applications.front->bundleID = "com.apple.finder"; },
         generic},
        {"a draft", [](auto& c) { c.type("Mine"); }, draftKept},
        {"a Send button without a draft", [](auto& c) { c.addButton("AXTitle", "Send"); }, notEmpty},
        {"an attachment", [](auto& c) { c.attach(); }, notEmpty},
        {"a reply", [](auto& c) { c.reply(); }, notEmpty},
        {"a page that is never complete", [](auto& c) { c.root->fail("AXRole", AXStatus::cannotComplete); },
         timedOut},
        {"a page that can't be read", [](auto& c) { c.root->fail("AXRole", AXStatus::failure); },
         unreadableView},
    };
    for (const auto& failing : failures) expectFailure(failing, 0);
}

// What the second line tells of the Send button and the press, and of the editor at the end.
std::string summary(const std::string& sendEnabled, const std::string& press, const std::string& input) {
    return "Send enabled=" + sendEnabled + " / press AX=" + press +
           " / Receipt after boundary=false / Input: " + input;
}
std::string editor(const std::string& content, const std::string& sendEnabled, bool isSame = true,
                   bool hasAttachments = false) {
    return std::string("Same editor=") + (isSame ? "true" : "false") + " / Content=" + content +
           " / Send=" + sendEnabled +
           " / Replying=false / Attachments=" + (hasAttachments ? "true" : "false");
}

TEST(ClaudeSend, TellsEachFailureFromTheInsertionOnAsUnsafeToRetry) {
    const std::string enabled = "true (AX succeeded / Boolean)", disabled = "false (AX succeeded / Boolean)",
                      unknown = "Unavailable AX=-25205", none = "No Send button", unpressed = "Not attempted",
                      unchanged = "Unchanged saved message";
    const Failing failures[] = {
        {"a refused write", [](auto& c) { c.writeStatus = AXStatus::failure; }, unverified},
        {"a write that may have happened", [](auto& c) { c.writeStatus = AXStatus::mayHaveHappened; },
         unverified},
        {"a text that did not stay", [](auto& c) { c.afterWrite = [&c] { c.type("Hello!"); }; }, stateChanged,
         summary(enabled, unpressed, editor("Different content", enabled))},
        {"an attachment that comes", [](auto& c) { c.afterWrite = [&c] { c.attach(); }; }, stateChanged,
         summary(enabled, unpressed, editor(unchanged, enabled, true, true))},
        {"a page that leaves", [](auto& c) { c.afterWrite = [&c] { c.show(ScriptedClaude::otherPath); }; },
         notShown, summary("Unread", unpressed, "Unreadable or not the original route")},
        {"a page that is made anew",
         [](auto& c) { c.afterWrite = [&c] { c.show(ScriptedClaude::targetPath); }; }, stateChanged,
         summary(none, unpressed, editor("Whitespace only", none, false))},
        {"Send that stays disabled",
         [](auto& c) { c.afterWrite = [&c] { c.send->set("AXEnabled", false); }; },
         "Couldn't confirm that Claude’s Send button became enabled. The editor content is kept.",
         summary(disabled, unpressed, editor(unchanged, disabled))},
        {"Send of which nobody knows",
         [](auto& c) { c.afterWrite = [&c] { c.send->attributes.erase("AXEnabled"); }; },
         "Couldn't read whether Claude’s Send button is enabled. Stopped and kept the content.",
         summary(unknown, unpressed, editor(unchanged, unknown))},
        {"a refused press", [](auto& c) { c.pressStatus = AXStatus::cannotComplete; },
         "Couldn't verify Claude’s send action. Check delivery records without resending.",
         summary(enabled, "-25204", editor(unchanged, enabled)), 1},
        {"a press that does nothing", [](auto& c) { c.sends = false; }, notReceived,
         summary(enabled, "0", editor(unchanged, enabled)), 1},
        {"a receipt that does not come", [](auto& c) { c.receiptsAreLate = true; }, notReceived,
         summary(enabled, "0", editor("Whitespace only", none)), 1},
    };
    for (const auto& failing : failures) expectFailure(failing, 1);
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
    ScriptedClaude plain;
    plain.perform();
    const int checks = plain.receiptChecks;
    ASSERT_EQ(checks, 5); // Before all, before the wait for Send, at its read, before the press, behind it.
    for (int confirmed = 1; confirmed <= checks; ++confirmed) {
        ScriptedClaude claude;
        int check = 0;
        const auto receipt = [&]() -> Task<bool> { co_return ++check >= confirmed; };
        const auto outcome = claude.run(claude.sender.performSend("Hello", claude.reference(), receipt));
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
        const auto outcome = claude.run(claude.sender.performSend("Hello", claude.reference(), receipt));
        EXPECT_EQ(firstLine(outcome.message), "The transcript is gone.") << failing;
        EXPECT_EQ(outcome.canRetry, failing == 1) << failing;
        EXPECT_EQ(claude.pressed.size(), failing == 5 ? 1U : 0U) << failing;
    }
}

TEST(ClaudeSend, SubmitsADraftThatStandsThereWithoutWriting) {
    const struct {
        const char* name;
        void (*change)(ScriptedClaude&);
        std::string message;
        std::size_t presses = 0;
    } cases[] = {
        {"the saved message", [](auto& c) { c.type("Hello"); }, "", 1},
        {"it has arrived", [](auto& c) { c.transcript = {"Hello"}; }, ""},
        {"another text", [](auto& c) { c.type("Hello "); }, draftDiffers},
        {"nothing", [](ScriptedClaude&) {}, draftDiffers},
        {"an attachment", [](auto& c) { c.type("Hello"), c.attach(); }, draftDiffers},
        {"a reply", [](auto& c) { c.type("Hello"), c.reply(); }, draftDiffers},
        {"another conversation", [](auto& c) { c.show(ScriptedClaude::otherPath); }, notShown},
        {"no permission", [](auto& c) { c.tree.trusted = false; }, generic},
        {"not opened", [](auto& c) { c.applications.opens = false; }, notOpened},
    };
    for (const auto& [name, change, message, presses] : cases) {
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
    EXPECT_EQ(outcome.message, notInFront + "\n" + claude.history.description().text());
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
    {"the person types", [](auto& c) { c.type("Mine"); }},
    {"the person goes on typing behind the text", [](auto& c) { c.type("Hello and mine"); }},
    {"the text goes away", [](auto& c) { c.type(""); }},
    {"the person sends", [](auto& c) { c.deliver(); }},
    {"another program comes to the front", [](auto& c) { c.applications.bringToFront("com.apple.finder"); }},
    {"another window of Claude", [](auto& c) { c.openAnotherWindow(); }},
    {"another conversation", [](auto& c) { c.show(ScriptedClaude::otherPath); }},
    {"the page made anew", [](auto& c) { c.show(ScriptedClaude::targetPath); }},
    {"an attachment", [](auto& c) { c.attach(); }},
    {"a reply begins", [](auto& c) { c.reply(); }},
    {"a second Send button", [](auto& c) { c.addButton("AXTitle", "Send"); }},
    {"Send made anew", [](auto& c) { c.replaceSendButton(); }},
    {"the program ends",
     [](auto& c) {
         c.applications.front.reset();
         c.tree.remove(*c.window);
     }},
    {"one read too late", [](auto& c) { c.tree.failures[c.tree.reads] = AXStatus::cannotComplete; }},
    {"one read of nothing", [](auto& c) { c.tree.failures[c.tree.reads] = AXStatus::invalidElement; }},
    {"one read refused", [](auto& c) { c.tree.failures[c.tree.reads] = AXStatus::failure; }},
    {"one read without value", [](auto& c) { c.tree.failures[c.tree.reads] = AXStatus::noValue; }},
};

// One disturbance at one read; the rules that nothing may break. Collects what is told.
void disturb(const Disturbance& disturbance, int read, bool startsElsewhere, std::set<std::string>& told) {
    ScriptedClaude claude(startsElsewhere ? ScriptedClaude::otherPath : ScriptedClaude::targetPath);
    bool isForeign = false; // Whether the text went into another conversation.
    claude.tree.beforeRead = [&](int number) {
        if (number == read) disturbance.happen(claude);
    };
    claude.afterWrite = [&] {
        const auto* url = claude.page->attributes.at("AXURL").as<AXURL>();
        isForeign = url->text != std::string("https://claude.ai") + ScriptedClaude::targetPath;
    };
    const auto outcome = claude.perform();
    told.insert(firstLine(outcome.message));
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
    std::set<std::string> told;
    for (const bool startsElsewhere : {false, true}) {
        ScriptedClaude undisturbed(startsElsewhere ? ScriptedClaude::otherPath : ScriptedClaude::targetPath);
        ASSERT_TRUE(undisturbed.perform().succeeded);
        for (const auto& disturbance : disturbances)
            for (int read = 1; read <= undisturbed.tree.reads; ++read) {
                disturb(disturbance, read, startsElsewhere, told);
                if (testing::Test::HasFatalFailure()) return;
            }
    }
    // What only a change between two readings brings about.
    for (const auto* words : {"Claude input state changed. Nothing was changed.",
                              "The Claude conversation, editor, content, or Send button changed. Content "
                              "was kept without sending.",
                              "The Claude window changed. Stopped without inserting a message."})
        EXPECT_TRUE(told.contains(words)) << words;
}

} // namespace
} // namespace orvel
