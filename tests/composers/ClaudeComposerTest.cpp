#include "OrvelCore/composers/ClaudeComposer.h"
#include "composers/ComposerTreeTable.h"

using namespace orvel;
using enum ClaudeComposerDiagnosis;

namespace {

struct Page : ComposerTreeTable<ComposerNode, ClaudeComposerTree> {
    std::vector<std::string> lines;
    std::size_t levels = 0;

    void onAncestor(std::size_t level, const DiagnosticText&) override { EXPECT_EQ(level, ++levels); }
    void report(const DiagnosticText& line) override { lines.push_back(line.text()); }

    ClaudeComposerDiagnosis chat() { return ClaudeComposerIdentity::inspect(parentOfFocused(), *this); }
    ClaudeCodeInspection code() { return ClaudeCodeComposerIdentity::inspect(parentOfFocused(), *this); }
    std::string lastLine() const { return lines.empty() ? "" : lines.back(); }
};

const std::string session = "local_0f8fad5b-d9cb-469f-a165-70867728950e";

// window 100, page 101, groups 6 to 1 inside each other, in the innermost the editor 0 and the Send
// button 10.
Page composer(const char* sendLabel) {
    Page page;
    page.add(100, "AXWindow");
    auto& webArea = page.add(101, "AXWebArea", 100).node;
    webArea.webRoute = ClaudeChatRoute::conversation;
    webArea.codeRoute = ClaudeCodeRoute("https://claude.ai/epitaxy/" + session);
    for (NodeID id = 6; id > 0; --id) page.add(id, "AXGroup", id == 6 ? 101 : id + 1);
    page.add(0, "AXTextArea", 1);
    page.add(10, "AXButton", 1, {sendLabel});
    return page;
}

// The window moved up until it is the ancestor of this number; it was the eighth.
void moveWindow(Page& page, NodeID ancestors) {
    page.raise(100, ancestors - 8);
}

struct Case {
    const char* what;
    ClaudeComposerDiagnosis code, chat;
    void (*change)(Page&);
    const char* lastLine = nullptr; // Of the chat's.
};

} // namespace

TEST(ClaudeComposer, IsRecognisedByWhatSurroundsIt) {
    const Case cases[] = {
        {"as it is", matchedCode, matched, [](Page&) {},
         "scope4: Inspected 2 elements / focus=true / Send=true"},
        {"no parent", ancestorChainEnded, ancestorChainEnded, [](Page& p) { p.node(0).parent.reset(); }},
        {"no window", ancestorChainEnded, ancestorChainEnded, [](Page& p) { p.node(101).parent.reset(); }},
        {"circle", ancestorCycle, ancestorCycle, [](Page& p) { p.node(101).parent = 3; }},
        {"circle of the editor", ancestorCycle, ancestorCycle, [](Page& p) { p.node(3).parent = 0; }},
        {"unreadable ancestor", ancestorReadFailed, ancestorReadFailed, [](Page& p) { p.unreadable = {3}; }},
        {"dialog", dialog, dialog, [](Page& p) { p.node(3).subrole = "AXDialog"; }},
        {"dialog above the page", dialog, dialog, [](Page& p) { p.node(100).role = "AXSheet"; }},
        {"no page", webAreaMissing, webAreaMissing, [](Page& p) { p.node(101).role = "AXGroup"; }},
        {"unknown page", unsupportedRoute, unsupportedRoute,
         [](Page& p) { p.node(101).webRoute.reset(), p.node(101).codeRoute.reset(); }},
        {"unsupported page", unsupportedRoute, unsupportedRoute,
         [](Page& p) {
             p.node(101).webRoute = ClaudeChatRoute::unsupported, p.node(101).codeRoute = ClaudeCodeRoute{};
         }},
        {"new page", unsupportedRoute, matched,
         [](Page& p) {
             p.node(101).webRoute = ClaudeChatRoute::newChat;
             p.node(101).codeRoute = ClaudeCodeRoute("https://claude.ai/epitaxy");
         }},
        {"editor right in the page", unavailable, sendButtonMissing, [](Page& p) { p.node(0).parent = 101; }},
        {"four groups", unavailable, matched, [](Page& p) { p.node(4).parent = 101; }},
        {"five groups", matchedCode, matched, [](Page& p) { p.node(5).parent = 101; }},
        {"list around", unavailable, unavailable, [](Page& p) { p.node(2).role = "AXList"; },
         "scope3: Unsupported role=AXList"},
        {"list far around", unavailable, matched, [](Page& p) { p.node(5).role = "AXList"; }},
        {"cancel", messageEditor, messageEditor,
         [](Page& p) {
             p.add(11, "AXButton", 2, {"x", "Cancel"});
         }},
        {"attachment", messageEditor, matched, [](Page& p) { p.add(11, "AXButton", 5, {"Remove a.txt"}); }},
        {"second editor", ambiguousEditors, ambiguousEditors, [](Page& p) { p.add(11, "AXTextField", 1); }},
        {"second send", sendButtonMissing, matched,
         [](Page& p) { p.add(11, "AXButton", 1, p.node(10).buttonLabels); }},
        {"no send", sendButtonMissing, sendButtonMissing,
         [](Page& p) { p.node(10).buttonLabels = {"send"}; }},
        {"send too far out", sendButtonMissing, sendButtonMissing,
         [](Page& p) { p.children(1) = {0}, p.children(6).push_back(10); }},
        {"focus not seen", sendButtonMissing, sendButtonMissing, [](Page& p) { p.children(1) = {10}; }},
        {"page within", dialog, unavailable, [](Page& p) { p.add(11, "AXWebArea", 1); },
         "scope1: Unsupported role=AXWebArea"},
        {"dialog within", dialog, unavailable,
         [](Page& p) { p.add(11, "AXGroup", 1).node.subrole = "AXDialog"; },
         "scope1: Unsupported role=AXGroup"},
        {"unknown role", matchedCode, unavailable, [](Page& p) { p.add(11, "Canary", 1); },
         "scope1: Unsupported role=Other role"},
        {"unreadable child", unavailable, unavailable, [](Page& p) { p.unreadable = {10}; },
         "scope1: Child element unavailable"},
        {"unreadable children", unavailable, unavailable, [](Page& p) { p.childless = {2}; },
         "scope2: Child list unavailable"},
        {"unreadable branch", unavailable, unavailable,
         [](Page& p) { p.add(11, "AXGroup", 2), p.childless = {11}; },
         "scope2: Branch children unavailable or more than 12"},
        {"circle within", unavailable, unavailable,
         [](Page& p) { p.add(11, "AXGroup", 2), p.children(11) = {2}; },
         "scope2: Revisiting an element in an unfinished branch"},
        {"child of two", unavailable, matched, [](Page& p) { p.children(2).push_back(10); },
         "scope4: Inspected 2 elements / focus=true / Send=true"},
    };
    for (const auto& test : cases) {
        auto codePage = composer("Send"), chatPage = composer("Send message");
        test.change(codePage), test.change(chatPage);
        const auto code = codePage.code();
        EXPECT_EQ(description(code.diagnosis), description(test.code)) << test.what;
        EXPECT_EQ(code.desktopSessionID, test.code == matchedCode ? std::optional(session) : std::nullopt);
        EXPECT_EQ(description(chatPage.chat()), description(test.chat)) << test.what;
        if (test.lastLine) {
            EXPECT_EQ(chatPage.lastLine(), test.lastLine) << test.what;
        }
    }
}

TEST(ClaudeComposer, KnowsItsButtonsByTheirLabels) {
    for (const auto* send : {"Send message", "Send Message", "メッセージを送信"}) {
        EXPECT_EQ(composer(send).chat(), matched) << send;
        EXPECT_EQ(composer(send).code().diagnosis, sendButtonMissing) << send;
    }
    EXPECT_EQ(composer("Send").chat(), sendButtonMissing);
    for (const auto* edit : {"Save", "Save changes", "Save & Submit", "Save and submit", "Cancel", "保存",
                             "変更を保存", "保存して送信", "キャンセル", "Remove "})
        for (const auto* role : {"AXButton", "AXMenuButton"}) {
            const bool isButton = std::string_view(role) == "AXButton";
            const bool isRemoval = std::string_view(edit) == "Remove ";
            auto chatPage = composer("Send message"), codePage = composer("Send");
            for (auto* page : {&chatPage, &codePage}) page->add(11, role, 1, {edit});
            EXPECT_EQ(chatPage.chat(), isButton && !isRemoval ? messageEditor : matched) << edit;
            EXPECT_EQ(codePage.code().diagnosis, isButton ? messageEditor : matchedCode) << edit;
        }
}

TEST(ClaudeComposer, LooksAtSixtyFourAncestors) {
    for (const NodeID ancestors : {64, 65}) {
        auto codePage = composer("Send"), chatPage = composer("Send Message");
        moveWindow(codePage, ancestors), moveWindow(chatPage, ancestors);
        EXPECT_EQ(codePage.code().diagnosis, ancestors > 64 ? ancestorDepthLimit : matchedCode) << ancestors;
        EXPECT_EQ(chatPage.chat(), ancestors > 64 ? ancestorDepthLimit : matched) << ancestors;
    }
}

TEST(ClaudeComposer, GivesUpAtThirteenChildrenOfAScopeOrABranch) {
    for (const NodeID parent : {2, 11})
        for (const std::size_t children : {12, 13}) {
            auto page = composer("メッセージを送信");
            if (parent == 11) page.add(parent, "AXRadioGroup", 1);
            for (NodeID id = 20; page.children(parent).size() < children; ++id)
                page.add(id, "AXImage", parent);
            const auto refused = parent == 2 ? sendButtonMissing : unavailable;
            EXPECT_EQ(page.chat(), children > 12 ? refused : matched) << parent << ' ' << children;
        }
}

TEST(ClaudeComposer, LooksForTheSendButtonInTheFourNearestScopes) {
    for (NodeID scope = 1; scope <= 6; ++scope) {
        auto page = composer("Send message");
        page.children(1) = {0};
        page.children(scope).push_back(10);
        EXPECT_EQ(page.chat(), scope > 4 ? sendButtonMissing : matched) << scope;
        EXPECT_EQ(page.lines.size(), 4U);
    }
}

TEST(ClaudeComposer, IsAnEditableTextAreaOfItsKind) {
    EXPECT_TRUE(ClaudeCodeComposerIdentity::matchesEditor("AXTextArea", "Prompt", true));
    EXPECT_FALSE(ClaudeCodeComposerIdentity::matchesEditor("AXTextField", "Prompt", true));
    EXPECT_FALSE(ClaudeCodeComposerIdentity::matchesEditor("AXTextArea", "prompt", true));
    EXPECT_FALSE(ClaudeCodeComposerIdentity::matchesEditor("AXTextArea", "Prompt", false));
    EXPECT_TRUE(ClaudeComposerIdentity::matchesEditor("AXTextArea", {"a", "ProseMirror"}, true));
    EXPECT_FALSE(ClaudeComposerIdentity::matchesEditor("AXTextField", {"ProseMirror"}, true));
    EXPECT_FALSE(ClaudeComposerIdentity::matchesEditor("AXTextArea", {"ProseMirror-x"}, true));
    EXPECT_FALSE(ClaudeComposerIdentity::matchesEditor("AXTextArea", {"ProseMirror"}, false));
}
