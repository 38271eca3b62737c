// Moving Claude from one conversation to another: only where the draft that stands there would survive.

#include "ScriptedClaude.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

const std::string otherPath = std::string("/epitaxy/") + ScriptedClaude::other;
const std::string targetPath = std::string("/epitaxy/") + ScriptedClaude::target;
const std::string targetURL = "claude://claude.ai" + targetPath;

const std::string unconfirmed =
    "The source Claude editor has unconfirmed composition. No conversation navigation was performed.";
const std::string unsupported =
    "The source Japanese input method or Claude Code version is unsupported. Input was not changed.";
const std::string changed =
    "The source conversation, draft, or input state changed. No conversation navigation was performed.";
const std::string notStarted = "Couldn't start Claude conversation navigation. No message was inserted.";
const std::string timedOut = "The Claude view did not become ready in time. No message was inserted.";

std::string candidates(const std::string& reason, const std::string& times, const std::string& state) {
    return "In the source editor, " + reason +
           ". The draft was kept; no conversation navigation was performed.\nCandidate read: " + times +
           " ms / State: " + state;
}

constexpr const char* marked = "AXTextInputMarkedTextMarkerRange";

void writeInJapanese(ScriptedClaude& claude) {
    claude.type("下書き");
    claude.editor->set("AXSelectedTextRange", AXRange{3, 0});
    claude.inputSources.source = ScriptedInputSources::hiragana();
}

struct Row {
    const char* name;
    void (*change)(ScriptedClaude&);
    std::string message; // None: the send succeeds.
    bool opens = false;  // Whether the URL is opened, all the same.
};

const Row rows[] = {
    {"an empty editor", [](ScriptedClaude&) {}, ""},
    {"a draft in ASCII", [](ScriptedClaude& c) { c.type("Mine"); }, ""},
    {"a draft where no marked text is known",
     [](ScriptedClaude& c) {
         c.type("Mine");
         c.editor->fail(marked, AXStatus::attributeUnsupported);
     },
     ""},
    {"marked text told as null", [](ScriptedClaude& c) { c.editor->set(marked, AXNull{}); }, ""},
    {"no draft in Japanese",
     [](ScriptedClaude& c) { c.inputSources.source = ScriptedInputSources::hiragana(); }, ""},
    {"an unreadable source without marked text and draft",
     [](ScriptedClaude& c) { c.inputSources.source.reset(); }, ""},
    {"an attachment", [](ScriptedClaude& c) { c.addButton("AXTitle", "Remove a.png"); },
     "The source Claude editor has an attachment. No conversation navigation was performed."},
    {"an attachment while a reply is written and text is marked",
     [](ScriptedClaude& c) {
         c.addButton("AXTitle", "Remove a.png");
         c.addButton("AXTitle", "Stop");
         c.editor->set(marked, AXOpaque{});
     },
     "The source Claude editor has an attachment. No conversation navigation was performed."},
    {"a reply while text is marked",
     [](ScriptedClaude& c) {
         c.addButton("AXTitle", "Stop");
         c.editor->set(marked, AXOpaque{});
     },
     "Claude is replying in the source conversation. No conversation navigation was performed."},
    {"marked text", [](ScriptedClaude& c) { c.editor->set(marked, AXOpaque{}); }, unconfirmed},
    {"neither marked text nor the source can be told",
     [](ScriptedClaude& c) {
         c.editor->fail(marked, AXStatus::attributeUnsupported);
         c.inputSources.source->isASCIICapable.reset();
     },
     unconfirmed},
    {"marked text that can't be read",
     [](ScriptedClaude& c) { c.editor->fail(marked, AXStatus::cannotComplete); }, claudeEditorUnverified},
    {"Send without a draft", [](ScriptedClaude& c) { c.addButton("AXTitle", "Send"); },
     "The source Claude editor and Send button states disagree. No conversation navigation was performed."},

    {"a draft in Japanese without candidates", writeInJapanese, ""},
    {"a draft in Japanese with candidates",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.latency = 2ms;
         c.windows.names->push_back("GoogleJapaneseInputRenderer");
     },
     candidates("Japanese candidates are visible", "2 ms / Recheck completed: 2", "presence")},
    {"windows without names",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.names->push_back(std::nullopt);
     },
     candidates("Japanese candidate state could not be rechecked within the time limit",
                "0 ms / Recheck completed: 0", "unavailable")},
    {"a slow recheck",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.latency = 24ms;
         c.tree.latency = 200us;
     },
     candidates("Japanese candidate state could not be rechecked within the time limit",
                "24 ms / Recheck completed: 35", "absence")},
    {"a slow list of windows",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.latency = 26ms;
     },
     "Couldn't read Japanese candidate state in the source editor. No conversation navigation was "
     "performed."},
    {"typing while the windows are read",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.onRead = [&c] { c.type("下書き。"); };
     },
     changed},
    {"moving the caret while the windows are read",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.onRead = [&c] { c.editor->set("AXSelectedTextRange", AXRange{0, 0}); };
     },
     changed},
    {"leaving Claude while the windows are read",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.onRead = [&c] { c.applications.front = RunningApplication{"com.apple.finder", 3}; };
     },
     changed},
    {"the conversation turning into another in its place",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.windows.onRead = [&c] { c.page->set("AXURL", AXURL{"https://claude.ai" + targetPath}); };
     },
     claudeEditorUnverified},
    {"another version of Claude",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.applications.claudeVersion = "3.6556.3";
     },
     unsupported},
    {"Katakana",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.inputSources.source->mode = "com.apple.inputmethod.Japanese.Katakana";
     },
     unsupported},
    {"a selection that can't be read",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.editor->fail("AXSelectedTextRange", AXStatus::noValue);
     },
     claudeEditorUnverified},
    {"a selection before the text",
     [](ScriptedClaude& c) {
         writeInJapanese(c);
         c.editor->set("AXSelectedTextRange", AXRange{-1, 0});
     },
     claudeEditorUnverified},

    {"a URL that nothing opens", [](ScriptedClaude& c) { c.opensURLs = c.navigates = false; }, notStarted,
     true},
    {"a page that never comes", [](ScriptedClaude& c) { c.navigates = false; }, timedOut, true},
    {"another page that comes",
     [](ScriptedClaude& c) {
         c.applications.onURL = [&c](const std::string&) {
             c.show("/epitaxy");
             return true;
         };
     },
     "Claude navigated to another conversation. Stopped without inserting a message.", true},
    {"another window that comes",
     [](ScriptedClaude& c) {
         c.applications.onURL = [&c](const std::string&) {
             auto& window = c.tree.add(c.tree.applicationNode, "AXWindow");
             c.tree.applicationNode->set("AXFocusedWindow", ScriptedTree::elementOf(window));
             return true;
         };
     },
     "The Claude window changed. Stopped without inserting a message.", true},
    {"typing in the source while the page is awaited",
     [](ScriptedClaude& c) {
         c.applications.onURL = [&c](const std::string&) {
             c.type("Mine");
             return true;
         };
     },
     claudeEditorUnverified, true},
    {"a draft in the destination",
     [](ScriptedClaude& c) {
         c.applications.onURL = [&c](const std::string&) {
             c.show(targetPath);
             c.type("Mine");
             return true;
         };
     },
     "Claude has a draft. Nothing was changed.", true},
};

TEST(ClaudeNavigation, MovesOnlyWhereTheDraftSurvives) {
    for (const auto& [name, change, message, opens] : rows) {
        ScriptedClaude claude(otherPath);
        change(claude);
        const auto outcome = claude.perform();
        EXPECT_EQ(outcome.message, message) << name;
        EXPECT_EQ(outcome.succeeded, message.empty()) << name;
        EXPECT_EQ(outcome.canRetry, !message.empty()) << name;
        EXPECT_EQ(claude.writes, message.empty() ? 1 : 0) << name;
        const bool hasOpened = message.empty() || opens;
        EXPECT_EQ(claude.applications.urls,
                  hasOpened ? std::vector<std::string>{targetURL} : std::vector<std::string>{})
            << name;
        EXPECT_TRUE(claude.tree.unboundedReads.empty()) << name;
    }
}

TEST(ClaudeNavigation, WaitsForASlowPage) {
    for (const auto& [delay, succeeds] : {std::pair{4800ms, true}, std::pair{5200ms, false}}) {
        ScriptedClaude claude(otherPath);
        std::unique_ptr<Timer> timer;
        claude.applications.onURL = [&, wait = delay](const std::string&) {
            timer = claude.loop.after(wait, [&] { claude.show(targetPath); });
            return true;
        };
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
        claude.applications.onURL = [&](const std::string&) {
            first = claude.tree.reads;
            return true;
        };
        EXPECT_EQ(claude.perform().message, timedOut);
    }
    int missed = 0;
    constexpr int round = 150; // Reads of a look that still finds the source.
    for (int read = first + 1; read <= first + round; ++read) {
        ScriptedClaude claude(otherPath);
        claude.applications.onURL = [](const std::string&) { return true; };
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
    EXPECT_LT(claude.loop.longestHold, 10ms);
}

} // namespace
} // namespace orvel
