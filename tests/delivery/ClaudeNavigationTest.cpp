// Moving Claude from one conversation to another: only where the draft that stands there would survive.

#include "delivery/ClaudeDesk.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

const std::string targetPath = ClaudeDesk::targetPath;
const std::string targetURL = "claude://claude.ai" + targetPath;

const std::string unconfirmed =
    "The source Claude editor has unconfirmed composition. No conversation navigation was performed.";
const std::string unsupported =
    "The source Japanese input method or Claude Code version is unsupported. Input was not changed.";
const std::string changed =
    "The source conversation, draft, or input state changed. No conversation navigation was performed.";
const std::string notStarted = "Couldn't start Claude conversation navigation. No message was inserted.";

std::string candidates(const std::string& reason, const std::string& times, const std::string& state) {
    return "In the source editor, " + reason +
           ". The draft was kept; no conversation navigation was performed.\nCandidate read: " + times +
           " ms / State: " + state;
}

constexpr const char* marked = "AXTextInputMarkedTextMarkerRange";

void writeInJapanese(ClaudeDesk& desk) {
    desk.type("下書き");
    desk.desktop.inputSources.useGoogleHiragana();
}

void moveCaret(const ClaudeDesk& desk, std::int64_t location) {
    desk.editor()->set("AXSelectedTextRange", AXRange{location, 0});
}

struct Row {
    const char* name;
    void (*change)(ClaudeDesk&);
    std::string message = ""; // None: the send succeeds.
};

struct Circumstances {
    bool inJapanese = false, opensURL = false;
};

void expectOutcome(const Row& row, const Circumstances& circumstances) {
    const auto& [name, change, message] = row;
    SCOPED_TRACE(name);
    ClaudeDesk desk(ClaudeDesk::other);
    if (circumstances.inJapanese) writeInJapanese(desk);
    change(desk);
    const auto outcome = desk.perform();
    EXPECT_EQ(outcome.message, message);
    EXPECT_EQ(outcome.succeeded, message.empty());
    EXPECT_EQ(outcome.canRetry, !message.empty());
    EXPECT_EQ(desk.writes(), message.empty() ? 1 : 0);
    const bool opens = circumstances.opensURL || message.empty();
    EXPECT_EQ(desk.count["openURL"], opens ? 1 : 0);
    for (const auto& url : desk.desktop.applications.openedURLs) EXPECT_EQ(url, targetURL);
}

TEST(ClaudeNavigation, MovesOnlyWhereTheDraftSurvives) {
    const std::string attached = "The source Claude editor has an attachment. No conversation navigation was "
                                 "performed.";
    const Row rows[] = {
        {"an empty editor", [](ClaudeDesk&) {}},
        {"a draft in ASCII", [](auto& d) { d.type("Mine"); }},
        {"a draft where no marked text is known",
         [](auto& d) {
             d.type("Mine");
             d.fail(d.editor(), marked, AXStatus::attributeUnsupported);
         }},
        {"marked text told as null", [](auto& d) { d.editor()->set(marked, AXNull{}); }},
        {"no draft in Japanese", [](auto& d) { d.desktop.inputSources.useGoogleHiragana(); }},
        {"an unreadable source without marked text and draft",
         [](auto& d) { d.desktop.inputSources.source.reset(); }},
        {"an attachment", [](auto& d) { d.attach(); }, attached},
        {"an attachment while a reply is written and text is marked",
         [](auto& d) { d.attach(), d.reply(), d.editor()->set(marked, AXOpaque{}); }, attached},
        {"a reply while text is marked", [](auto& d) { d.reply(), d.editor()->set(marked, AXOpaque{}); },
         "Claude is replying in the source conversation. No conversation navigation was performed."},
        {"marked text", [](auto& d) { d.editor()->set(marked, AXOpaque{}); }, unconfirmed},
        {"neither marked text nor the source can be told",
         [](auto& d) {
             d.fail(d.editor(), marked, AXStatus::attributeUnsupported);
             d.desktop.inputSources.source->isASCIICapable.reset();
         },
         unconfirmed},
        {"marked text that can't be read",
         [](auto& d) { d.fail(d.editor(), marked, AXStatus::cannotComplete); }, claudeEditorUnverified},
        {"Send without a draft", [](auto& d) { d.addButton("AXTitle", "Send"); },
         "The source Claude editor and Send button states disagree. No conversation navigation was "
         "performed."},
    };
    for (const auto& row : rows) expectOutcome(row, {});
}

TEST(ClaudeNavigation, MovesFromADraftInJapaneseOnlyWithoutCandidates) {
    const Row rows[] = {
        {"no candidates", [](ClaudeDesk&) {}},
        {"candidates",
         [](auto& d) {
             d.desktop.windows.duration = 2ms;
             d.desktop.windows.showCandidates(true);
         },
         candidates("Japanese candidates are visible", "2 ms / Recheck completed: 2", "presence")},
        {"windows without names", [](auto& d) { d.desktop.windows.owners.push_back(std::nullopt); },
         candidates("Japanese candidate state could not be rechecked within the time limit",
                    "0 ms / Recheck completed: 0", "unavailable")},
        {"a slow recheck", [](auto& d) { d.desktop.windows.duration = 24ms, d.readTime = 200us; },
         candidates("Japanese candidate state could not be rechecked within the time limit",
                    "24 ms / Recheck completed: 35", "absence")},
        {"a slow list of windows", [](auto& d) { d.desktop.windows.duration = 26ms; },
         "Couldn't read Japanese candidate state in the source editor. No conversation navigation was "
         "performed."},
        {"typing while the windows are read",
         [](auto& d) { d.before["ownerNames"] = [&d] { d.type("下書き。"); }; }, changed},
        {"moving the caret while the windows are read",
         [](auto& d) { d.before["ownerNames"] = [&d] { moveCaret(d, 0); }; }, changed},
        {"leaving Claude while the windows are read",
         [](auto& d) { d.before["ownerNames"] = [&d] { d.leaveTheFront(); }; }, changed},
        {"the conversation turning into another in its place",
         [](auto& d) { d.before["ownerNames"] = [&d] { d.address(targetPath); }; }, claudeEditorUnverified},
        {"another version of Claude", [](auto& d) { d.claude.version = "3.6556.3"; }, unsupported},
        {"Katakana",
         [](auto& d) { d.desktop.inputSources.source->mode = "com.apple.inputmethod.Japanese.Katakana"; },
         unsupported},
        {"a selection that can't be read",
         [](auto& d) { d.fail(d.editor(), "AXSelectedTextRange", AXStatus::noValue); },
         claudeEditorUnverified},
        {"a selection before the text", [](auto& d) { moveCaret(d, -1); }, claudeEditorUnverified},
    };
    for (const auto& row : rows) expectOutcome(row, {.inJapanese = true});
}

TEST(ClaudeNavigation, StopsBehindTheOpenedURLWhereAnythingElseComes) {
    const Row rows[] = {
        {"a URL that nothing opens", [](auto& d) { d.refused["openURL"] = AXStatus::failure; }, notStarted},
        {"a page that never comes", [](auto& d) { d.claude.habits.ignoresURLs = true; }, timedOut},
        {"another page that comes", [](auto& d) { d.whenURLOpens([&d] { d.claude.userNavigates(""); }); },
         "Claude navigated to another conversation. Stopped without inserting a message."},
        {"another window that comes", [](auto& d) { d.whenURLOpens([&d] { d.openAnotherWindow(); }); },
         "The Claude window changed. Stopped without inserting a message."},
        {"typing in the source while the page is awaited",
         [](auto& d) { d.whenURLOpens([&d] { d.type("Mine"); }); }, claudeEditorUnverified},
        {"typing on in a draft while the page is awaited",
         [](auto& d) { d.type("Mine"), d.whenURLOpens([&d] { d.type("Mine too"); }); },
         claudeEditorUnverified},
        {"a draft in the destination", [](auto& d) { d.claude.userSetsDraft(ClaudeDesk::target, "Mine"); },
         draftKept},
    };
    for (const auto& row : rows) expectOutcome(row, {.opensURL = true});
}

TEST(ClaudeNavigation, WaitsForASlowPageAndForASourceThatHasNoneYet) {
    for (const auto& [delay, succeeds] : {std::pair{4800ms, true}, std::pair{5200ms, false}}) {
        ClaudeDesk desk(ClaudeDesk::other);
        desk.claude.habits.leaving = delay;
        const auto outcome = desk.perform();
        EXPECT_EQ(outcome.message, succeeds ? "" : timedOut);
        EXPECT_EQ(desk.line().find("stage=navigationWait") != std::string::npos, !succeeds) << desk.line();

        ClaudeDesk without(ClaudeDesk::other); // A page in the source, at the beginning.
        without.address("/new");
        without.loop.outside(350ms + delay, [&] { without.claude.userNavigates(ClaudeDesk::target); });
        EXPECT_EQ(without.perform().message, succeeds ? "" : timedOut);
        EXPECT_EQ(without.count["openURL"], 0);
    }
}

TEST(ClaudeNavigation, APageThatComesAtAnyReadIsReached) {
    ClaudeDesk staying(ClaudeDesk::other);
    int first = 0;
    staying.whenURLOpens([&] { first = staying.count["attribute"]; });
    EXPECT_EQ(staying.perform().message, timedOut);
    int missed = 0;
    constexpr int round = 150; // Reads of a look that still finds the source.
    for (int read = first + 1; read <= first + round; ++read) {
        ClaudeDesk desk(ClaudeDesk::other);
        desk.whenURLOpens([] {});
        desk.beforeRead = [&](int number) {
            if (number == read) desk.claude.userNavigates(ClaudeDesk::target);
        };
        const auto outcome = desk.perform();
        if (outcome.succeeded) continue;
        // Behind the snapshot that still found the source, its input method can't be read any more.
        EXPECT_EQ(outcome.message, claudeEditorUnverified) << read;
        EXPECT_TRUE(outcome.canRetry && desk.writes() == 0);
        ++missed;
    }
    EXPECT_LE(missed, 1);
}

} // namespace
} // namespace orvel
