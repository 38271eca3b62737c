// Sending into Claude step by step: what is written and pressed, what each way to fail is told as, and that
// nothing whatever makes it write twice, press twice or call a retry safe that is not.

#include "delivery/ClaudeDesk.h"

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
    ClaudeDesk desk;
    const auto outcome = desk.perform();
    EXPECT_TRUE(outcome.succeeded) << outcome.message;
    EXPECT_EQ(desk.claude.conversation(ClaudeDesk::target)->received.back(), "Hello");
    EXPECT_EQ(desk.writes(), 1);
    EXPECT_EQ(desk.presses(), 1);
    EXPECT_EQ(desk.count["openApplication"], 1);
    EXPECT_EQ(desk.count["openURL"], 0);
    EXPECT_NE(desk.line().find("stage=submission readiness_reads=1 elapsed_ms=0 route_same=true pages=1 "
                               "code_pages=1 front=claude editors=1 parent_depth=5 AX=No failure recorded"),
              std::string::npos)
        << desk.line();
}

TEST(ClaudeSend, TakesNoMoreReadsWhereTheTreeIsLarge) {
    // What grows with the page are the walks: of the route, and twice in each of five snapshots.
    ClaudeDesk small, large;
    for (int i = 0; i < 100; ++i) large.add(large.page()->below().front(), "AXGroup");
    EXPECT_TRUE(small.perform().succeeded && large.perform().succeeded);
    EXPECT_EQ(large.count["attribute"] - small.count["attribute"], 100 * (2 + 5 * (2 + 2 + 1)));
}

TEST(ClaudeSend, LooksAgainWhereALastLookTookTooLongAndActsWhereAllDo) {
    ClaudeDesk quick, slow;
    slow.readTime = 3ms; // Of two reads.
    EXPECT_TRUE(quick.perform().succeeded && slow.perform().succeeded);
    // Seven looks of two reads more, before the write and before Send.
    EXPECT_EQ(slow.count["attribute"] - quick.count["attribute"], 28);
}

TEST(ClaudeSend, GatesBeforeAnythingIsOpened) {
    const std::string unreachable = "Couldn't verify the Claude Desktop Code conversation ID or "
                                    "accessibility permission. Use Copy to recover.";
    const struct {
        const char* name;
        void (*change)(ClaudeDesk&, ConversationReference&);
        std::string message;
        int opened = 0;
    } cases[] = {
        {"a Codex conversation", [](auto&, auto& to) { to.agent = Agent::codex; }, unreachable},
        {"no identifier", [](auto&, auto& to) { to.desktopSessionID.reset(); }, unreachable},
        {"an identifier that leads elsewhere", [](auto&, auto& to) { *to.desktopSessionID += "/x"; },
         unreachable},
        {"an identifier and more", [](auto&, auto& to) { *to.desktopSessionID += "?a=b"; }, unreachable},
        {"an identifier in escapes", [](auto&, auto& to) { to.desktopSessionID->replace(6, 1, "%31"); },
         unreachable},
        {"no permission", [](auto& d, auto&) { d.desktop.accessibility.trusted = false; }, unreachable},
        {"not installed", [](auto& d, auto&) { d.refused["location"] = AXStatus::failure; }, notOpened},
        {"not opened", [](auto& d, auto&) { d.desktop.applications.opens = false; }, notOpened, 1},
    };
    for (const auto& [name, change, message, opened] : cases) {
        ClaudeDesk desk;
        auto to = desk.reference();
        change(desk, to);
        const auto outcome = desk.perform("Hello", to);
        EXPECT_EQ(outcome.message, message) << name;
        EXPECT_EQ(outcome.canRetry, message == unreachable) << name;
        EXPECT_EQ(desk.count["openApplication"], opened) << name;
        EXPECT_EQ(desk.count["attribute"], 0) << name;
        EXPECT_NE(desk.line().find("stage=launch"), std::string::npos) << name;
    }
}

struct Failing {
    const char* name;
    void (*change)(ClaudeDesk&);
    std::string message;
    std::string summary = ""; // The second line, where there is one.
    int presses = 0;
};

// A retry is safe only where nothing was written.
void expectFailure(const Failing& failing, int writes) {
    SCOPED_TRACE(failing.name);
    ClaudeDesk desk;
    failing.change(desk);
    const auto outcome = desk.perform();
    EXPECT_FALSE(outcome.succeeded);
    EXPECT_EQ(firstLine(outcome.message), failing.message);
    EXPECT_EQ(secondLine(outcome.message), failing.summary);
    EXPECT_EQ(outcome.canRetry, writes == 0);
    EXPECT_EQ(desk.writes(), writes);
    EXPECT_EQ(desk.presses(), failing.presses);
    EXPECT_EQ(desk.line().find("Hello"), std::string::npos);
}

TEST(ClaudeSend, TellsEachFailureBeforeTheInsertionAsSafeToRetry) {
    const Failing failures[] = {
        {"another program in front",
         [](auto& d) { d.leaveTheFront(), d.desktop.applications.refusesActivation = true; }, generic},
        {"a draft", [](auto& d) { d.type("Mine"); }, draftKept},
        {"a Send button without a draft", [](auto& d) { d.addButton("AXTitle", "Send"); }, notEmpty},
        {"an attachment", [](auto& d) { d.attach(); }, notEmpty},
        {"a reply", [](auto& d) { d.reply(); }, notEmpty},
        {"a page that is never complete",
         [](auto& d) { d.fail(d.root(), "AXRole", AXStatus::cannotComplete); }, timedOut},
        {"a page that can't be read", [](auto& d) { d.fail(d.root(), "AXRole", AXStatus::failure); },
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
                      unknown = "Unavailable AX=-25212", none = "No Send button", unpressed = "Not attempted",
                      unchanged = "Unchanged saved message";
    const Failing failures[] = {
        {"a refused write", [](auto& d) { d.refused["setAttribute"] = AXStatus::failure; }, unverified},
        {"a write that may have happened",
         [](auto& d) { d.refused["setAttribute"] = AXStatus::mayHaveHappened; }, unverified},
        {"a text that did not stay", [](auto& d) { d.afterWrite = [&d] { d.type("Hello!"); }; }, stateChanged,
         summary(enabled, unpressed, editor("Different content", enabled))},
        {"an attachment that comes", [](auto& d) { d.afterWrite = [&d] { d.attach(); }; }, stateChanged,
         summary(enabled, unpressed, editor(unchanged, enabled, true, true))},
        {"a page that leaves",
         [](auto& d) { d.afterWrite = [&d] { d.claude.userNavigates(ClaudeDesk::other); }; }, notShown,
         summary("Unread", unpressed, "Unreadable or not the original route")},
        {"a page that is made anew",
         [](auto& d) {
             d.afterWrite = [&d] {
                 d.claude.userNavigates(ClaudeDesk::other), d.claude.userNavigates(ClaudeDesk::target);
             };
         },
         stateChanged, summary(enabled, unpressed, editor(unchanged, enabled, false))},
        {"Send that stays disabled", [](auto& d) { d.claude.habits.sendEnables = 1h; },
         "Couldn't confirm that Claude’s Send button became enabled. The editor content is kept.",
         summary(disabled, unpressed, editor(unchanged, disabled))},
        {"Send of which nobody knows", [](auto& d) { d.claude.habits.sendEnabledIsUnreadable = true; },
         "Couldn't read whether Claude’s Send button is enabled. Stopped and kept the content.",
         summary(unknown, unpressed, editor(unchanged, unknown))},
        {"a refused press", [](auto& d) { d.refused["performAction"] = AXStatus::cannotComplete; },
         "Couldn't verify Claude’s send action. Check delivery records without resending.",
         summary(enabled, "-25204", editor(unchanged, enabled)), 1},
        {"a press that does nothing", [](auto& d) { d.claude.habits.ignoresPresses = true; }, notReceived,
         summary(enabled, "0", editor(unchanged, enabled)), 1},
        {"a receipt that does not come", [](auto& d) { d.claude.habits.losesReceipts = true; }, notReceived,
         summary(enabled, "0", editor("Whitespace only", none)), 1},
    };
    for (const auto& failing : failures) expectFailure(failing, 1);
}

TEST(ClaudeSend, WaitsForThePageForSendAndForTheReceiptSoLong) {
    const std::tuple<const char*, MainLoop::Duration, MainLoop::Duration,
                     void (*)(ClaudeDesk&, MainLoop::Duration)>
        waits[] = {
            {"page", 4s, 6s,
             [](auto& d, auto delay) {
                 d.fail(d.root(), "AXRole", AXStatus::invalidElement);
                 d.loop.outside(delay, [root = d.root()] { root->statuses.clear(); });
             }},
            {"Send", 2000ms, 2200ms, [](auto& d, auto delay) { d.claude.habits.sendEnables = delay; }},
            {"receipt", 5800ms, 5900ms, [](auto& d, auto delay) { d.claude.habits.receipt = delay; }},
        };
    for (const auto& [name, inTime, tooLate, delayBy] : waits)
        for (const auto& delay : {inTime, tooLate}) {
            ClaudeDesk desk;
            delayBy(desk, delay);
            desk.before["performAction"] = [&] { desk.receiptChecks = 0; };
            EXPECT_EQ(desk.perform().succeeded, delay == inTime) << name;
            const bool isReceipt = std::string_view(name) == "receipt";
            EXPECT_EQ(desk.writes(), delay == inTime || std::string_view(name) != "page" ? 1 : 0) << name;
            EXPECT_EQ(desk.presses(), delay == inTime || isReceipt ? 1 : 0) << name;
            EXPECT_TRUE(!isReceipt || desk.receiptChecks == 40) << desk.receiptChecks;
        }
}

TEST(ClaudeSend, AReceiptAtAnyMomentEndsItWithoutAnotherAct) {
    ClaudeDesk plain;
    plain.perform();
    const int checks = plain.receiptChecks;
    // Before all, before the wait for Send, at its read, before the press, behind it, and a moment later.
    ASSERT_EQ(checks, 6);
    for (int confirmed = 1; confirmed <= checks; ++confirmed) {
        ClaudeDesk desk;
        int check = 0;
        const auto receipt = [&]() -> Task<bool> { co_return ++check >= confirmed; };
        const auto outcome =
            desk.run(desk.sender.performSend(savedTransfer("Hello"), desk.reference(), receipt));
        EXPECT_TRUE(outcome.succeeded) << confirmed;
        EXPECT_EQ(desk.writes(), confirmed > 1 ? 1 : 0);
        EXPECT_EQ(desk.presses(), confirmed > 4 ? 1 : 0);
    }
}

TEST(ClaudeSend, AReceiptCheckThatFailsStopsItByItsPhase) {
    for (int failing = 1; failing <= 5; ++failing) {
        ClaudeDesk desk;
        int check = 0;
        const auto receipt = [&]() -> Task<bool> {
            if (++check == failing) throw RelaySendError("The transcript is gone.", true);
            co_return false;
        };
        const auto outcome =
            desk.run(desk.sender.performSend(savedTransfer("Hello"), desk.reference(), receipt));
        EXPECT_EQ(firstLine(outcome.message), "The transcript is gone.") << failing;
        EXPECT_EQ(outcome.canRetry, failing == 1) << failing;
        EXPECT_EQ(desk.presses(), failing == 5 ? 1 : 0) << failing;
    }
}

TEST(ClaudeSend, SubmitsADraftThatStandsThereWithoutWriting) {
    const struct {
        const char* name;
        void (*change)(ClaudeDesk&);
        std::string message;
        int presses = 0;
    } cases[] = {
        {"the saved message", [](auto& d) { d.type("Hello"); }, "", 1},
        {"it has arrived", [](auto& d) { d.claude.conversation(ClaudeDesk::target)->received = {"Hello"}; },
         ""},
        {"another text", [](auto& d) { d.type("Hello "); }, draftDiffers},
        {"nothing", [](ClaudeDesk&) {}, draftDiffers},
        {"an attachment", [](auto& d) { d.type("Hello"), d.attach(); }, draftDiffers},
        {"a reply", [](auto& d) { d.type("Hello"), d.reply(); }, draftDiffers},
        {"another conversation", [](auto& d) { d.claude.userNavigates(ClaudeDesk::other); }, notShown},
        {"no permission", [](auto& d) { d.desktop.accessibility.trusted = false; }, generic},
        {"not opened", [](auto& d) { d.desktop.applications.opens = false; }, notOpened},
    };
    for (const auto& [name, change, message, presses] : cases) {
        ClaudeDesk desk;
        change(desk);
        const auto outcome = desk.run(desk.sender.submitExistingDraft(
            savedTransfer("Hello"), desk.reference(), desk.receiptOf("Hello")));
        EXPECT_EQ(outcome.message, message) << name;
        EXPECT_EQ(outcome.succeeded, message.empty()) << name;
        EXPECT_FALSE(outcome.canRetry) << name;
        EXPECT_EQ(desk.writes(), 0) << name;
        EXPECT_EQ(desk.presses(), presses) << name;
        EXPECT_EQ(desk.count["openURL"], 0) << name;
    }
}

TEST(ClaudeSend, DiagnosesWithoutContent) {
    ClaudeDesk desk;
    desk.claude.habits.ignoresPresses = true;
    desk.perform("Canary");
    desk.type("Canary 𝄞");
    std::optional<std::string> report;
    desk.run(desk.sender.diagnose(desk.reference()), report);
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
    EXPECT_EQ(desk.writes(), 1) << "only the send's own";

    desk.leaveTheFront(), desk.desktop.applications.refusesActivation = true;
    report.reset();
    const auto outcome = desk.run(desk.sender.diagnose(desk.reference()), report);
    EXPECT_EQ(outcome.message, notInFront + "\n" + desk.history.description().text());
    EXPECT_FALSE(outcome.canRetry);
}

TEST(ClaudeSend, ForgettingTheTaskEndsItWhereItWaits) {
    ClaudeDesk desk;
    desk.claude.habits.losesReceipts = true;
    Outcome outcome;
    {
        TaskScope tasks;
        tasks.start(ClaudeDesk::observe(
            desk.sender.performSend(savedTransfer("Hello"), desk.reference(), desk.receiptOf("Hello")),
            outcome));
        desk.loop.runFor(1s);
        EXPECT_FALSE(tasks.isIdle());
    }
    const auto reads = desk.count["attribute"];
    desk.loop.run();
    EXPECT_EQ(desk.count["attribute"], reads);
    EXPECT_TRUE(outcome.message.empty());
}

// What only a change between two readings brings about. That nothing that happens at any step breaks a rule
// is for the exploration.
TEST(ClaudeSend, NoticesWhatChangesBetweenTwoReadings) {
    ClaudeDesk undisturbed;
    ASSERT_TRUE(undisturbed.perform().succeeded);
    std::set<std::string> told;
    for (int read = 1; read <= undisturbed.count["attribute"]; ++read) {
        ClaudeDesk desk;
        desk.beforeRead = [&](int number) {
            if (number == read) desk.type("Mine");
        };
        told.insert(firstLine(desk.perform().message));
    }
    for (const auto* words : {"Claude input state changed. Nothing was changed.",
                              "The Claude conversation, editor, content, or Send button changed. Content "
                              "was kept without sending."})
        EXPECT_TRUE(told.contains(words)) << words;
}

} // namespace
} // namespace orvel
