// Reading Claude's window: the one shape that is accepted, each way in which another differs, and what a
// reading costs.

#include "Orvel/delivery/ClaudeReadiness.h"
#include "delivery/ScriptedClaude.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* generic = claudeEditorUnverified;
const std::string path = ScriptedClaude::targetPath;

struct Reading {
    std::optional<ClaudeSnapshot> snapshot;
    Outcome outcome;
};

Reading read(ScriptedClaude& claude, ClaudeSnapshotRequest request = {path}) {
    ClaudeWindowReader reading(claude.ports, claude.history);
    Reading result;
    result.outcome = claude.run(reading.snapshot(request), result.snapshot);
    return result;
}

struct Shape {
    const char* name;
    void (*change)(ScriptedClaude&);
    std::string message = ""; // None: the shape is accepted.
};

ScriptedNode& addGroups(ScriptedTree& tree, ScriptedNode& parent, int count) {
    for (int i = 0; i < count; ++i) tree.add(&parent, "AXGroup");
    return parent;
}

// Makes the page as large as this many elements, itself included.
void growPage(ScriptedClaude& claude, int size) {
    int count = 0;
    std::vector<ScriptedNode*> queue{claude.page};
    for (std::size_t i = 0; i < queue.size(); ++i, ++count)
        queue.insert(queue.end(), queue[i]->children.begin(), queue[i]->children.end());
    addGroups(claude.tree, *claude.page->children.front(), size - count);
}

const Shape shapes[] = {
    {"as it should be", [](ScriptedClaude&) {}},
    {"a draft with its Send button", [](auto& c) { c.type("Draft"); }},
    {"Send in the help alone", [](auto& c) { c.addButton("AXHelp", "Send"); }},
    {"a button that only begins like Send", [](auto& c) { c.addButton("AXTitle", "Send later"); }},
    {"the URL as a string",
     [](auto& c) { c.page->set("AXURL", std::string("https://claude.ai") + path + "?x=1"); }},
    {"a text area that is no prompt",
     [](auto& c) { c.tree.add(c.page, "AXTextArea").set("AXDescription", "Notes"); }},
    {"no value that is told as unsupported",
     [](auto& c) { c.root->fail("AXTitle", AXStatus::attributeUnsupported); }},

    {"Claude behind another program", [](auto& c) { c.applications.bringToFront("com.apple.finder"); },
     notInFront},
    {"nothing in front", [](auto& c) { c.applications.front.reset(); }, notInFront},
    {"no focused window", [](auto& c) { c.tree.applicationNode->attributes.clear(); }, generic},
    {"a focused window that is no element",
     [](auto& c) { c.tree.applicationNode->set("AXFocusedWindow", "Window"); }, generic},
    {"another conversation", [](auto& c) { c.address("/epitaxy/local_x"); }, notShown},
    {"another host", [](auto& c) { c.address(path, "https://example.org"); }, notShown},
    {"another scheme", [](auto& c) { c.address(path, "http://claude.ai"); }, notShown},
    {"no URL", [](auto& c) { c.page->attributes.erase("AXURL"); }, notShown},
    {"the page twice",
     [](auto& c) { c.tree.add(c.shellPage, "AXWebArea").set("AXURL", AXURL{"https://claude.ai" + path}); },
     generic},
    {"no prompt", [](auto& c) { c.editor->set("AXDescription", "prompt"); }, generic},
    {"two prompts", [](auto& c) { c.tree.add(c.page, "AXTextArea").set("AXDescription", "Prompt"); },
     generic},
    {"a prompt without a text", [](auto& c) { c.editor->attributes.erase("AXValue"); }, generic},
    {"a text that is none", [](auto& c) { c.editor->set("AXValue", 1.0); }, generic},
    {"a role that is none", [](auto& c) { c.root->set("AXRole", true); }, generic},
    {"no role", [](auto& c) { c.groups[2]->attributes.erase("AXRole"); }, generic},
    {"children that are none", [](auto& c) { c.root->set("AXChildren", "none"); }, generic},
    {"a composer that is no group", [](auto& c) { c.root->set("AXRole", "AXList"); }, generic},
    {"a group above the editor that is none", [](auto& c) { c.groups.back()->set("AXRole", "AXScrollArea"); },
     generic},
    {"an editor without parent", [](auto& c) { c.editor->fail("AXParent", AXStatus::noValue); }, generic},
    {"a second text field", [](auto& c) { c.tree.add(c.root, "AXTextField"); }, generic},
    {"a sheet", [](auto& c) { c.tree.add(c.root, "AXSheet"); }, generic},
    {"a dialog", [](auto& c) { c.tree.add(c.root, "AXDialog"); }, generic},
    {"a page in the composer", [](auto& c) { c.tree.add(c.root, "AXWebArea"); }, generic},
    {"two Send buttons",
     [](auto& c) { c.addButton("AXTitle", "Send"), c.addButton("AXDescription", "Send"); }, generic},
    {"a window of 4000 elements", [](auto& c) { growPage(c, 4000 - 3); }},
    {"a window of 4001 elements", [](auto& c) { growPage(c, 4001 - 3); }, generic},
    {"a composer of 100 elements", [](auto& c) { addGroups(c.tree, *c.root, 100 - 7); }},
    {"a composer of 101 elements", [](auto& c) { addGroups(c.tree, *c.root, 101 - 7); }, generic},
    {"a hard status", [](auto& c) { c.root->fail("AXRole", AXStatus::failure); }, unreadableView},
    {"a value that can't be read", [](auto& c) { c.groups[1]->fail("AXValue", AXStatus::apiDisabled); },
     "Couldn't read the Claude view. AX status=-25211. Message content is kept."},
};

TEST(ClaudeWindowReading, AcceptsOneShapeAndNamesWhatDiffers) {
    for (const bool searches : {false, true}) {
        for (const auto& [name, change, message] : shapes) {
            ScriptedClaude claude;
            claude.tree.searches = searches;
            change(claude);
            const auto reading = read(claude);
            EXPECT_EQ(reading.outcome.message, message) << name << (searches ? ", searched" : ", walked");
            EXPECT_EQ(reading.snapshot.has_value(), message.empty()) << name;
            EXPECT_TRUE(claude.tree.unboundedReads.empty()) << name;
        }
    }
}

TEST(ClaudeWindowReading, ReadsTheControlsAroundTheEditor) {
    const struct {
        const char* name;
        void (*change)(ScriptedClaude&);
        std::string expected; // Send, attachment, reply.
    } cases[] = {
        {"empty", [](ScriptedClaude&) {}, "No Send button; 0; 0"},
        {"draft", [](auto& c) { c.type("x"); }, "true (AX succeeded / Boolean); 0; 0"},
        {"Send disabled", [](auto& c) { c.type("x"), c.send->set("AXEnabled", false); },
         "false (AX succeeded / Boolean); 0; 0"},
        {"Send without a value", [](auto& c) { c.type("x"), c.send->set("AXEnabled", AXNull{}); },
         "AX succeeded; no value or non-Boolean type; 0; 0"},
        {"Send of another type", [](auto& c) { c.type("x"), c.send->set("AXEnabled", 1.0); },
         "AX succeeded; no value or non-Boolean type; 0; 0"},
        {"Send unreadable", [](auto& c) { c.type("x"), c.send->fail("AXEnabled", AXStatus::cannotComplete); },
         "Unavailable AX=-25204; 0; 0"},
        {"attachment", [](auto& c) { c.addButton("AXDescription", "Remove a.png"); }, "No Send button; 1; 0"},
        {"attachment in Japanese", [](auto& c) { c.addButton("AXHelp", "a.pngの添付を削除する"); },
         "No Send button; 1; 0"},
        {"a label that only holds the word", [](auto& c) { c.addButton("AXHelp", "Removed"); },
         "No Send button; 0; 0"},
        {"reply that can be stopped", [](auto& c) { c.reply(); }, "No Send button; 0; 1"},
        {"reply that is told",
         [](auto& c) { c.tree.add(c.page, "AXStaticText").set("AXValue", "Claude is responding"); },
         "No Send button; 0; 1"},
    };
    for (const auto& [name, change, expected] : cases) {
        ScriptedClaude claude;
        change(claude);
        const auto reading = read(claude);
        ASSERT_TRUE(reading.snapshot) << name << reading.outcome.message;
        const auto& snapshot = *reading.snapshot;
        EXPECT_EQ(snapshot.sendEnabledDiagnostic.text() + "; " + std::to_string(snapshot.hasAttachment) +
                      "; " + std::to_string(snapshot.isResponding),
                  expected)
            << name;
    }
}

TEST(ClaudeWindowReading, HoldsToWhatWasExpected) {
    ScriptedClaude claude;
    claude.type(" \n");
    const auto elsewhere = ScriptedTree::elementOf(*claude.root);
    struct Row {
        const char* name;
        ClaudeSnapshotRequest request;
        const char* message;
    };
    for (const auto& [name, request, message] :
         {Row{"window", {path, false, elsewhere}, generic},
          Row{"page", {path, false, {}, elsewhere}, generic},
          Row{"editor", {path, false, {}, {}, elsewhere}, generic},
          Row{"blanks are no draft", {path, false, {}, {}, {}, true}, ""}})
        EXPECT_EQ(read(claude, request).outcome.message, message) << name;
    claude.type("x");
    EXPECT_EQ(read(claude, {path, false, {}, {}, {}, true}).outcome.message, draftKept);
}

TEST(ClaudeWindowReading, ATransientStatusIsKnownAsSuch) {
    for (const auto& [status, isTransient] :
         {std::pair{AXStatus::cannotComplete, true}, std::pair{AXStatus::invalidElement, true},
          std::pair{AXStatus::failure, false}, std::pair{AXStatus::apiDisabled, false}})
        EXPECT_EQ(ClaudeAXReadFailure("AXRole", status).isTransient(), isTransient);
}

TEST(ClaudeWindowReading, DescribesTheAncestorsWithoutTheirContent) {
    ScriptedClaude claude;
    claude.type("A secret");
    claude.send->set("AXValue", "Send");
    const auto lines = read(claude, {path, true}).snapshot.value().diagnostics.text();
    EXPECT_EQ(lines.substr(0, lines.find('\n')),
              "Ancestor 1: role=AXGroup, element=2, button=0, Send label=0, Send value=0");
    EXPECT_NE(lines.find("\nAncestor 5: role=AXGroup, element=8, button=2, Send label=1, Send value=1\n"
                         "Ancestor 6: role=AXGroup, element=9, button=2, Send label=1, Send value=1"),
              lines.npos)
        << lines;
    addGroups(claude.tree, *claude.root->parent, 300 - 9);
    EXPECT_NE(read(claude, {path, true}).snapshot.value().diagnostics.text().find("Ancestor 6"), lines.npos);
    addGroups(claude.tree, *claude.root->parent, 1);
    EXPECT_EQ(read(claude, {path, true}).snapshot.value().diagnostics.text().find("Ancestor 6"), lines.npos);
}

TEST(ClaudeWindowReading, ReadsEachThingOnceForEachOfItsWalks) {
    ScriptedClaude claude;
    claude.type("x");
    read(claude);
    std::map<std::string, int> most;
    for (const auto& [what, count] : claude.tree.readsOf)
        most[what.second] = std::max(most[what.second], count);
    // An element of the composer is met by the walks of the window, the page and the composer; the groups
    // above the editor also by the climb.
    EXPECT_EQ(most, (std::map<std::string, int>{{"AXFocusedWindow", 1},
                                                {"AXRole", 4},
                                                {"AXChildren", 3},
                                                {"AXURL", 1},
                                                {"AXDescription", 1},
                                                {"AXTitle", 1},
                                                {"AXHelp", 1},
                                                {"AXValue", 1},
                                                {"AXParent", 1},
                                                {"AXEnabled", 1}}));
}

TEST(ClaudeWindowReading, NeverHoldsTheLoopLong) {
    for (const auto latency : {MainLoop::Duration(200us), MainLoop::Duration(4ms)}) {
        ScriptedClaude claude;
        growPage(claude, 3900);
        claude.tree.latency = latency;
        EXPECT_TRUE(read(claude).outcome.succeeded);
        EXPECT_LT(claude.loop.longestHold().duration, 10ms);
        EXPECT_GT(claude.loop.longestHold().duration, 0ms);
    }
}

TEST(ClaudeWindowReading, TellsWhichCodePageIsShown) {
    const struct {
        const char* name;
        void (*change)(ScriptedClaude&);
        std::string expected; // A path, or a message.
        std::string counts;
    } cases[] = {
        {"one", [](ScriptedClaude&) {}, path, "pages=2 code_pages=1 front=claude"},
        {"none", [](auto& c) { c.address("/new"); }, "", "pages=2 code_pages=0 front=claude"},
        {"two",
         [](auto& c) { c.tree.add(c.window, "AXWebArea").set("AXURL", AXURL{"https://claude.ai/epitaxy"}); },
         "Multiple Claude Code conversations were found. No message was inserted.",
         "pages=3 code_pages=2 front=claude"},
        {"a URL that is none", [](auto& c) { c.shellPage->set("AXURL", true); },
         "Couldn't verify the Claude conversation URL type. No message was inserted.",
         "pages=2 code_pages=Unread front=claude"},
        {"Orvel in front", [](auto& c) { c.applications.bringToFront(std::nullopt, 7); }, generic,
         "pages=Unread code_pages=Unread front=orvel"},
        {"a program without a name in front", [](auto& c) { c.applications.bringToFront(std::nullopt, 8); },
         generic, "pages=Unread code_pages=Unread front=unknown"},
    };
    for (const auto& [name, change, expected, counts] : cases) {
        ScriptedClaude claude;
        change(claude);
        ClaudeWindowReader reading(claude.ports, claude.history);
        std::optional<std::optional<std::string>> shown;
        const auto outcome = claude.run(reading.currentCodePagePath(std::nullopt), shown);
        EXPECT_EQ(shown ? shown->value_or("") : outcome.message, expected) << name;
        EXPECT_NE(claude.line().find(counts), std::string::npos) << name << claude.line();
    }
}

} // namespace
} // namespace orvel
