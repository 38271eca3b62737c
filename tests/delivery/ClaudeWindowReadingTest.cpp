// Reading Claude's window: the one shape that is accepted, and each way in which another differs.

#include "delivery/ClaudeDesk.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;

constexpr const char* generic = claudeEditorUnverified;
const std::string path = ClaudeDesk::targetPath;

struct Reading {
    std::optional<ClaudeSnapshot> snapshot;
    Outcome outcome;
};

Reading read(ClaudeDesk& desk, ClaudeSnapshotRequest request = {path}) {
    ClaudeWindowReader reading(desk.ports, desk.history);
    Reading result;
    result.outcome = desk.run(reading.snapshot(request), result.snapshot);
    return result;
}

struct Shape {
    const char* name;
    void (*change)(ClaudeDesk&);
    std::string message = ""; // None: the shape is accepted.
};

// Makes an element and what is below it as many as this, by groups below `parent`.
void grow(ClaudeDesk& desk, const ClaudeDesk::Element& whole, const ClaudeDesk::Element& parent,
          std::size_t size) {
    for (auto count = ClaudeDesk::everythingBelow(whole).size(); count < size; ++count)
        desk.add(parent, "AXGroup");
}
void growWindow(ClaudeDesk& desk, std::size_t size) {
    grow(desk, desk.claude.windowElement(), desk.page()->below().front(), size);
}
void growComposer(ClaudeDesk& desk, std::size_t size) {
    grow(desk, desk.root(), desk.root(), size);
}

const Shape shapes[] = {
    {"as it should be", [](ClaudeDesk&) {}},
    {"a draft with its Send button", [](auto& d) { d.type("Draft"); }},
    {"Send in the help alone", [](auto& d) { d.addButton("AXHelp", "Send"); }},
    {"the URL as a string",
     [](auto& d) { d.page()->set("AXURL", std::string("https://claude.ai") + path + "?x=1"); }},
    {"a text area that is no prompt",
     [](auto& d) { d.add(d.page(), "AXTextArea", "AXDescription", "Notes"); }},
    {"no value that is told as unsupported",
     [](auto& d) { d.fail(d.root(), "AXTitle", AXStatus::attributeUnsupported); }},

    {"Claude behind another program", [](auto& d) { d.leaveTheFront(); }, notInFront},
    {"nothing in front", [](auto& d) { d.desktop.applications.bringToFront(0); }, notInFront},
    {"no focused window", [](auto& d) { d.application()->unset("AXFocusedWindow"); }, generic},
    {"a focused window that is no element",
     [](auto& d) { d.application()->set("AXFocusedWindow", std::string("Window")); }, generic},
    {"another conversation", [](auto& d) { d.address("/epitaxy/local_x"); }, notShown},
    {"a page below the conversation", [](auto& d) { d.address(path + "/files"); }, notShown},
    {"another host", [](auto& d) { d.address(path, "https://example.org"); }, notShown},
    {"another scheme", [](auto& d) { d.address(path, "http://claude.ai"); }, notShown},
    {"no URL", [](auto& d) { d.page()->unset("AXURL"); }, notShown},
    {"the page twice, a strange one first",
     [](auto& d) { d.claude.habits.page = SimulatedIntruder::first, d.claude.redrawsPage(); }, generic},
    {"the page twice, a strange one last",
     [](auto& d) { d.claude.habits.page = SimulatedIntruder::last, d.claude.redrawsPage(); }, generic},
    {"another host that begins like Claude's",
     [](auto& d) { d.address(path, "https://claude.ai.example.org"); }, notShown},
    {"no prompt", [](auto& d) { d.editor()->set("AXDescription", std::string("prompt")); }, generic},
    {"two prompts, a strange one first",
     [](auto& d) { d.claude.habits.editor = SimulatedIntruder::first, d.claude.redrawsPage(); }, generic},
    {"two prompts, a strange one last",
     [](auto& d) { d.claude.habits.editor = SimulatedIntruder::last, d.claude.redrawsPage(); }, generic},
    {"a prompt without a text", [](auto& d) { d.editor()->unset("AXValue"); }, generic},
    {"a text that is none", [](auto& d) { d.editor()->set("AXValue", 1.0); }, generic},
    {"a role that is none", [](auto& d) { d.root()->set("AXRole", true); }, generic},
    {"no role", [](auto& d) { d.group(3)->unset("AXRole"); }, generic},
    {"children that can't be told", [](auto& d) { d.fail(d.root(), "AXChildren", AXStatus::failure); },
     unreadableView},
    {"a composer that is no group", [](auto& d) { d.root()->set("AXRole", std::string("AXList")); }, generic},
    {"a group above the editor that is none",
     [](auto& d) { d.group(1)->set("AXRole", std::string("AXScrollArea")); }, generic},
    {"an editor without parent", [](auto& d) { d.fail(d.editor(), "AXParent", AXStatus::noValue); }, generic},
    {"a second text field", [](auto& d) { d.add(d.root(), "AXTextField"); }, generic},
    {"a sheet", [](auto& d) { d.add(d.root(), "AXSheet"); }, generic},
    {"a dialog", [](auto& d) { d.add(d.root(), "AXDialog"); }, generic},
    {"a page in the composer", [](auto& d) { d.add(d.root(), "AXWebArea"); }, generic},
    {"two Send buttons",
     [](auto& d) { d.addButton("AXTitle", "Send"), d.addButton("AXDescription", "Send"); }, generic},
    {"a window of 4000 elements", [](auto& d) { growWindow(d, 4000); }},
    {"a window of 4001 elements", [](auto& d) { growWindow(d, 4001); }, generic},
    {"a composer of 100 elements", [](auto& d) { growComposer(d, 100); }},
    {"a composer of 101 elements", [](auto& d) { growComposer(d, 101); }, generic},
    {"a hard status", [](auto& d) { d.fail(d.root(), "AXRole", AXStatus::failure); }, unreadableView},
    {"a value that can't be read", [](auto& d) { d.fail(d.group(4), "AXValue", AXStatus::apiDisabled); },
     "Couldn't read the Claude view. AX status=-25211. Message content is kept."},
};

TEST(ClaudeWindowReading, AcceptsOneShapeAndNamesWhatDiffers) {
    for (const bool searches : {false, true}) {
        for (const auto& [name, change, message] : shapes) {
            ClaudeDesk desk;
            desk.desktop.accessibility.supportsSearch = searches;
            change(desk);
            const auto reading = read(desk);
            EXPECT_EQ(reading.outcome.message, message) << name << (searches ? ", searched" : ", walked");
            EXPECT_EQ(reading.snapshot.has_value(), message.empty()) << name;
        }
    }
}

TEST(ClaudeWindowReading, ReadsTheControlsAroundTheEditor) {
    const struct {
        const char* name;
        void (*change)(ClaudeDesk&);
        std::string expected; // Send, attachment, reply.
    } cases[] = {
        {"empty", [](ClaudeDesk&) {}, "No Send button; 0; 0"},
        {"draft", [](auto& d) { d.type("x"); }, "true (AX succeeded / Boolean); 0; 0"},
        {"a label that only begins like Send", [](auto& d) { d.addButton("AXTitle", "Send later"); },
         "No Send button; 0; 0"},
        {"Send disabled", [](auto& d) { d.claude.habits.sendEnables = 1h, d.type("x"); },
         "false (AX succeeded / Boolean); 0; 0"},
        {"Send without a value",
         [](auto& d) { d.type("x"), d.loop.runFor(1ms), d.send()->set("AXEnabled", AXNull{}); },
         "AX succeeded; no value or non-Boolean type; 0; 0"},
        {"Send of another type",
         [](auto& d) { d.type("x"), d.loop.runFor(1ms), d.send()->set("AXEnabled", 1.0); },
         "AX succeeded; no value or non-Boolean type; 0; 0"},
        {"Send unreadable",
         [](auto& d) {
             d.type("x"), d.loop.runFor(1ms), d.fail(d.send(), "AXEnabled", AXStatus::cannotComplete);
         },
         "Unavailable AX=-25204; 0; 0"},
        {"attachment", [](auto& d) { d.addButton("AXDescription", "Remove a.png"); }, "No Send button; 1; 0"},
        {"attachment in Japanese", [](auto& d) { d.addButton("AXHelp", "a.pngの添付を削除する"); },
         "No Send button; 1; 0"},
        {"a label that only holds the word", [](auto& d) { d.addButton("AXHelp", "Removed"); },
         "No Send button; 0; 0"},
        {"reply that can be stopped", [](auto& d) { d.reply(); }, "No Send button; 0; 1"},
        {"reply that is told",
         [](auto& d) { d.add(d.page(), "AXStaticText", "AXValue", "Claude is responding"); },
         "No Send button; 0; 1"},
    };
    for (const auto& [name, change, expected] : cases) {
        ClaudeDesk desk;
        change(desk);
        const auto reading = read(desk);
        ASSERT_TRUE(reading.snapshot) << name << reading.outcome.message;
        const auto& snapshot = *reading.snapshot;
        EXPECT_EQ(snapshot.sendEnabledDiagnostic.text() + "; " + std::to_string(snapshot.hasAttachment) +
                      "; " + std::to_string(snapshot.isResponding),
                  expected)
            << name;
    }
}

TEST(ClaudeWindowReading, HoldsToWhatWasExpected) {
    ClaudeDesk desk;
    desk.type(" \n");
    const auto elsewhere = desk.root()->handle();
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
        EXPECT_EQ(read(desk, request).outcome.message, message) << name;
    desk.type("x");
    EXPECT_EQ(read(desk, {path, false, {}, {}, {}, true}).outcome.message, draftKept);
}

TEST(ClaudeWindowReading, DescribesTheAncestorsWithoutTheirContent) {
    ClaudeDesk desk;
    desk.type("A secret");
    desk.loop.runFor(1ms);
    desk.send()->set("AXValue", std::string("Send"));
    const auto lines = read(desk, {path, true}).snapshot.value().diagnostics.text();
    EXPECT_EQ(lines.substr(0, lines.find('\n')),
              "Ancestor 1: role=AXGroup, element=2, button=0, Send label=0, Send value=0");
    EXPECT_NE(lines.find("\nAncestor 5: role=AXGroup, element=10, button=2, Send label=1, Send value=1\n"
                         "Ancestor 6: role=AXGroup, element=11, button=2, Send label=1, Send value=1"),
              lines.npos)
        << lines;
    const auto outer = desk.group(6);
    grow(desk, outer, outer, 300);
    EXPECT_NE(read(desk, {path, true}).snapshot.value().diagnostics.text().find("Ancestor 6"), lines.npos);
    grow(desk, outer, outer, 301);
    EXPECT_EQ(read(desk, {path, true}).snapshot.value().diagnostics.text().find("Ancestor 6"), lines.npos);
}

TEST(ClaudeWindowReading, TellsWhichCodePageIsShown) {
    const struct {
        const char* name;
        void (*change)(ClaudeDesk&);
        std::string expected; // A path, or a message.
        std::string counts;
    } cases[] = {
        {"one", [](ClaudeDesk&) {}, path, "pages=2 code_pages=1 front=claude"},
        {"none", [](auto& d) { d.address("/new"); }, "", "pages=2 code_pages=0 front=claude"},
        {"two",
         [](auto& d) {
             d.add(d.claude.windowElement(), "AXWebArea")->set("AXURL", AXURL{"https://claude.ai/epitaxy"});
         },
         "Multiple Claude Code conversations were found. No message was inserted.",
         "pages=3 code_pages=2 front=claude"},
        {"the same twice",
         [](auto& d) {
             d.add(d.claude.windowElement(), "AXWebArea")->set("AXURL", AXURL{"https://claude.ai" + path});
         },
         "Multiple Claude Code conversations were found. No message was inserted.",
         "pages=3 code_pages=2 front=claude"},
        {"an address with braces", [](auto& d) { d.shell->set("AXURL", AXURL{"https://x.org/?q={x}"}); },
         path, "pages=2 code_pages=1 front=claude"},
        {"a bar in a text that is an address",
         [](auto& d) { d.shell->set("AXURL", std::string("https://x.org/?q=a|b")); }, path,
         "pages=2 code_pages=1 front=claude"},
        {"a letter that is no ASCII", [](auto& d) { d.shell->set("AXURL", AXURL{"https://x.org/ä"}); }, path,
         "pages=2 code_pages=1 front=claude"},
        {"a long data URL",
         [](auto& d) { d.shell->set("AXURL", AXURL{"data:text/html," + std::string(17'000, 'x')}); }, path,
         "pages=2 code_pages=1 front=claude"},
        {"a text that is no address", [](auto& d) { d.shell->set("AXURL", std::string("a b")); },
         "Couldn't verify the Claude conversation URL type. No message was inserted.",
         "pages=2 code_pages=Unread front=claude"},
        {"a URL that is none", [](auto& d) { d.shell->set("AXURL", true); },
         "Couldn't verify the Claude conversation URL type. No message was inserted.",
         "pages=2 code_pages=Unread front=claude"},
        {"Orvel in front", [](auto& d) { d.leaveTheFront(); }, generic,
         "pages=Unread code_pages=Unread front=orvel"},
    };
    for (const auto& [name, change, expected, counts] : cases) {
        ClaudeDesk desk;
        change(desk);
        ClaudeWindowReader reading(desk.ports, desk.history);
        std::optional<std::optional<std::string>> shown;
        const auto outcome = desk.run(reading.currentCodePagePath(std::nullopt), shown);
        EXPECT_EQ(shown ? shown->value_or("") : outcome.message, expected) << name;
        EXPECT_NE(desk.line().find(counts), std::string::npos) << name << desk.line();
    }
}

} // namespace
} // namespace orvel
