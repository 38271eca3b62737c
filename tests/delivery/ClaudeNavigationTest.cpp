// Moving Claude from one conversation to another: only where the draft that stands there would survive.

#include "delivery/ScriptedClaude.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

const std::string targetPath = ScriptedClaude::targetPath, otherPath = ScriptedClaude::otherPath;
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

void writeInJapanese(ScriptedClaude& claude) {
    claude.type("下書き");
    claude.moveCaret(3);
    claude.inputSources.useGoogleHiragana();
}

struct Row {
    const char* name;
    void (*change)(ScriptedClaude&);
    std::string message = ""; // None: the send succeeds.
};

struct Circumstances {
    bool inJapanese = false, opensURL = false;
};

void expectOutcome(const Row& row, const Circumstances& circumstances) {
    const auto& [name, change, message] = row;
    SCOPED_TRACE(name);
    ScriptedClaude claude(otherPath);
    if (circumstances.inJapanese) writeInJapanese(claude);
    change(claude);
    const auto outcome = claude.perform();
    EXPECT_EQ(outcome.message, message);
    EXPECT_EQ(outcome.succeeded, message.empty());
    EXPECT_EQ(outcome.canRetry, !message.empty());
    EXPECT_EQ(claude.writes, message.empty() ? 1 : 0);
    std::vector<std::string> opened;
    if (circumstances.opensURL || message.empty()) opened = {targetURL};
    EXPECT_EQ(claude.applications.urls, opened);
    EXPECT_TRUE(claude.tree.unboundedReads.empty());
}

TEST(ClaudeNavigation, MovesOnlyWhereTheDraftSurvives) {
    const std::string attached = "The source Claude editor has an attachment. No conversation navigation was "
                                 "performed.";
    const Row rows[] = {
        {"an empty editor", [](ScriptedClaude&) {}},
        {"a draft in ASCII", [](auto& c) { c.type("Mine"); }},
        {"a draft where no marked text is known",
         [](auto& c) {
             c.type("Mine");
             c.editor->fail(marked, AXStatus::attributeUnsupported);
         }},
        {"marked text told as null", [](auto& c) { c.editor->set(marked, AXNull{}); }},
        {"no draft in Japanese", [](auto& c) { c.inputSources.useGoogleHiragana(); }},
        {"an unreadable source without marked text and draft",
         [](auto& c) { c.inputSources.source.reset(); }},
        {"an attachment", [](auto& c) { c.attach(); }, attached},
        {"an attachment while a reply is written and text is marked",
         [](auto& c) { c.attach(), c.reply(), c.editor->set(marked, AXOpaque{}); }, attached},
        {"a reply while text is marked", [](auto& c) { c.reply(), c.editor->set(marked, AXOpaque{}); },
         "Claude is replying in the source conversation. No conversation navigation was performed."},
        {"marked text", [](auto& c) { c.editor->set(marked, AXOpaque{}); }, unconfirmed},
        {"neither marked text nor the source can be told",
         [](auto& c) {
             c.editor->fail(marked, AXStatus::attributeUnsupported);
             c.inputSources.source->isASCIICapable.reset();
         },
         unconfirmed},
        {"marked text that can't be read", [](auto& c) { c.editor->fail(marked, AXStatus::cannotComplete); },
         claudeEditorUnverified},
        {"Send without a draft", [](auto& c) { c.addButton("AXTitle", "Send"); },
         "The source Claude editor and Send button states disagree. No conversation navigation was "
         "performed."},
    };
    for (const auto& row : rows) expectOutcome(row, {});
}

TEST(ClaudeNavigation, MovesFromADraftInJapaneseOnlyWithoutCandidates) {
    const Row rows[] = {
        {"no candidates", [](ScriptedClaude&) {}},
        {"candidates",
         [](auto& c) {
             c.windows.latency = 2ms;
             c.windows.names->push_back("GoogleJapaneseInputRenderer");
         },
         candidates("Japanese candidates are visible", "2 ms / Recheck completed: 2", "presence")},
        {"windows without names", [](auto& c) { c.windows.names->push_back(std::nullopt); },
         candidates("Japanese candidate state could not be rechecked within the time limit",
                    "0 ms / Recheck completed: 0", "unavailable")},
        {"a slow recheck", [](auto& c) { c.windows.latency = 24ms, c.tree.latency = 200us; },
         candidates("Japanese candidate state could not be rechecked within the time limit",
                    "24 ms / Recheck completed: 35", "absence")},
        {"a slow list of windows", [](auto& c) { c.windows.latency = 26ms; },
         "Couldn't read Japanese candidate state in the source editor. No conversation navigation was "
         "performed."},
        {"typing while the windows are read",
         [](auto& c) { c.windows.onRead = [&c] { c.type("下書き。"); }; }, changed},
        {"moving the caret while the windows are read",
         [](auto& c) { c.windows.onRead = [&c] { c.moveCaret(0); }; }, changed},
        {"leaving Claude while the windows are read",
         [](auto& c) { c.windows.onRead = [&c] { c.applications.bringToFront("com.apple.finder"); }; },
         changed},
        {"the conversation turning into another in its place",
         [](auto& c) { c.windows.onRead = [&c] { c.address(targetPath); }; }, claudeEditorUnverified},
        {"another version of Claude", [](auto& c) { c.applications.claudeVersion = "3.6556.3"; },
         unsupported},
        {"Katakana", [](auto& c) { c.inputSources.source->mode = "com.apple.inputmethod.Japanese.Katakana"; },
         unsupported},
        {"a selection that can't be read",
         [](auto& c) { c.editor->fail("AXSelectedTextRange", AXStatus::noValue); }, claudeEditorUnverified},
        {"a selection before the text", [](auto& c) { c.moveCaret(-1); }, claudeEditorUnverified},
    };
    for (const auto& row : rows) expectOutcome(row, {.inJapanese = true});
}

TEST(ClaudeNavigation, StopsBehindTheOpenedURLWhereAnythingElseComes) {
    const Row rows[] = {
        {"a URL that nothing opens", [](auto& c) { c.opensURLs = c.navigates = false; }, notStarted},
        {"a page that never comes", [](auto& c) { c.navigates = false; }, timedOut},
        {"another page that comes", [](auto& c) { c.whenURLOpens([&c] { c.show("/epitaxy"); }); },
         "Claude navigated to another conversation. Stopped without inserting a message."},
        {"another window that comes", [](auto& c) { c.whenURLOpens([&c] { c.openAnotherWindow(); }); },
         "The Claude window changed. Stopped without inserting a message."},
        {"typing in the source while the page is awaited",
         [](auto& c) { c.whenURLOpens([&c] { c.type("Mine"); }); }, claudeEditorUnverified},
        {"a draft in the destination",
         [](auto& c) { c.whenURLOpens([&c] { c.show(targetPath), c.type("Mine"); }); }, draftKept},
    };
    for (const auto& row : rows) expectOutcome(row, {.opensURL = true});
}

TEST(ClaudeNavigation, WaitsForASlowPage) {
    for (const auto& [delay, succeeds] : {std::pair{4800ms, true}, std::pair{5200ms, false}}) {
        ScriptedClaude claude(otherPath);
        std::unique_ptr<Timer> timer;
        claude.whenURLOpens(
            [&, wait = delay] { timer = claude.loop.after(wait, [&] { claude.show(targetPath); }); });
        const auto outcome = claude.perform();
        EXPECT_EQ(outcome.message, succeeds ? "" : timedOut);
        EXPECT_EQ(claude.line().find("stage=navigationWait") != std::string::npos, !succeeds)
            << claude.line();
    }
}

TEST(ClaudeNavigation, WaitsForASourceThatHasNoPageYet) {
    for (const auto& [delay, succeeds] : {std::pair{4800ms, true}, std::pair{5200ms, false}}) {
        ScriptedClaude claude("/new");
        const auto timer = claude.loop.after(350ms + delay, [&] { claude.show(targetPath); });
        const auto outcome = claude.perform();
        EXPECT_EQ(outcome.message, succeeds ? "" : timedOut);
        EXPECT_TRUE(claude.applications.urls.empty());
    }
}

TEST(ClaudeNavigation, APageThatComesAtAnyReadIsReached) {
    int first = 0;
    {
        ScriptedClaude claude(otherPath);
        claude.whenURLOpens([&] { first = claude.tree.reads; });
        EXPECT_EQ(claude.perform().message, timedOut);
    }
    int missed = 0;
    constexpr int round = 150; // Reads of a look that still finds the source.
    for (int read = first + 1; read <= first + round; ++read) {
        ScriptedClaude claude(otherPath);
        claude.whenURLOpens([] {});
        claude.tree.beforeRead = [&](int number) {
            if (number == read) claude.show(targetPath);
        };
        const auto outcome = claude.perform();
        if (outcome.succeeded) continue;
        // Behind the snapshot that still found the source, its input method can't be read any more.
        EXPECT_EQ(outcome.message, claudeEditorUnverified) << read;
        EXPECT_TRUE(outcome.canRetry && claude.writes == 0);
        ++missed;
    }
    EXPECT_LE(missed, 1);
}

TEST(ClaudeNavigation, NeverHoldsTheLoopLong) {
    ScriptedClaude claude(otherPath);
    writeInJapanese(claude);
    claude.tree.latency = 100us;
    for (int i = 0; i < 300; ++i) claude.tree.add(claude.window, "AXGroup");
    const auto outcome = claude.perform();
    EXPECT_TRUE(outcome.succeeded) << outcome.message;
    EXPECT_LT(claude.loop.longestHold().duration, 10ms);
}

} // namespace
} // namespace orvel
