#include "OrvelCore/composers/CodexComposer.h"
#include "composers/ComposerTreeTable.h"

using namespace orvel;
using enum ComposerRecognition;

namespace {

struct Page : ComposerTreeTable<CodexComposerNode> {
    ComposerRecognition judged() { return CodexComposerStructure::inspect(parentOfFocused(), *this); }
};

// window 100, page 101, outer group 3, group 2, form 1 with the editor 0, its button 10 and its menu 11.
Page composer() {
    Page page;
    page.add(100, "AXWindow");
    page.add(101, "AXWebArea", 100);
    page.add(3, "AXGroup", 101);
    page.add(2, "AXGroup", 3);
    page.add(1, "AXForm", 2);
    page.add(0, "AXTextArea", 1);
    page.add(10, "AXButton", 1, {"Send"});
    page.add(11, "AXPopUpButton", 1, {"Add files and more"});
    return page;
}

// Buttons enough for a hint, and not for a proof.
void removeContext(Page& page) {
    page.node(11).buttonLabels.clear();
}

} // namespace

TEST(CodexComposer, IsRecognisedByWhatSurroundsIt) {
    const std::tuple<const char*, ComposerRecognition, void (*)(Page&)> cases[] = {
        {"as it is", verified, [](Page&) {}},
        {"stop", verified,
         [](Page& p) {
             p.node(10).buttonLabels = {"x", "停止"};
         }},
        {"no submit", uncertain, [](Page& p) { p.node(10).buttonLabels = {"send"}; }},
        {"no context", uncertain, removeContext},
        {"neither", excluded, [](Page& p) { removeContext(p), p.node(10).buttonLabels.clear(); }},
        {"context further out", verified,
         [](Page& p) { removeContext(p), p.add(12, "AXButton", 3, {"Add files and more"}); }},
        {"focus elsewhere", excluded,
         [](Page& p) {
             p.children(1) = {10, 11};
         }},
        {"cancel", excluded, [](Page& p) { p.add(12, "AXButton", 1, {"Cancel"}); }},
        {"context further out, a button in both", verified,
         [](Page& p) {
             removeContext(p), p.add(12, "AXButton", 3, {"Add files and more"});
             p.children(2).push_back(10);
         }},
        {"second editor further out", excluded,
         [](Page& p) { removeContext(p), p.add(12, "AXSearchField", 2); }},
        {"toolbars all around", excluded,
         [](Page& p) {
             for (const NodeID id : {1, 2, 3}) p.node(id).role = "AXToolbar";
         }},
        {"second editor", excluded, [](Page& p) { p.add(12, "AXSearchField", 1); }},
        {"dialog within", excluded, [](Page& p) { p.add(12, "AXGroup", 1).node.subrole = "AXDialog"; }},
        {"page within", excluded, [](Page& p) { p.add(12, "AXWebArea", 1); }},
        {"unknown role", excluded, [](Page& p) { p.add(12, "AXTable", 1); }},
        {"unknown role further out", uncertain, [](Page& p) { removeContext(p), p.add(12, "AXTable", 2); }},
        {"unreadable child", excluded, [](Page& p) { p.unreadable = {10}; }},
        {"unreadable children", excluded, [](Page& p) { p.childless = {1}; }},
        {"child twice", excluded, [](Page& p) { p.children(1).push_back(10); }},
        {"dialog above the page", excluded, [](Page& p) { p.node(100).role = "AXSheet"; }},
        {"dialog above", excluded, [](Page& p) { p.node(2).subrole = "AXSystemDialog"; }},
        {"page in a page", excluded, [](Page& p) { p.node(3).role = "AXWebArea"; }},
        {"no page", excluded, [](Page& p) { p.node(101).role = "AXGroup"; }},
        {"no window", excluded, [](Page& p) { p.node(100).role = "AXGroup"; }},
        {"unreadable window", excluded, [](Page& p) { p.unreadable = {100}; }},
        {"circle above", excluded, [](Page& p) { p.node(101).parent = 2; }},
        {"toolbar around", verified, [](Page& p) { p.node(1).role = "AXToolbar"; }},
        {"hinted circle", uncertain,
         [](Page& p) { p.node(3).classes = {"_composer_1"}, p.node(101).parent = 2; }},
        {"hinted only", uncertain,
         [](Page& p) {
             p.node(2).classes = {"a", "_composer_1"}, p.children(1) = {0};
         }},
        {"composer outside", verified, [](Page& p) { p.node(2).classes = {"_composer_1"}; }},
        {"composer outside with cancel", excluded,
         [](Page& p) { p.node(2).classes = {"_composer_1"}, p.add(12, "AXButton", 2, {"キャンセル"}); }},
        {"no composer class", verified,
         [](Page& p) {
             p.node(2).classes = {"x_composer_", "_composer"}, p.add(12, "AXButton", 2, {"Cancel"});
         }},
    };
    for (const auto& [what, result, change] : cases) {
        auto page = composer();
        change(page);
        EXPECT_EQ(description(page.judged()), description(result)) << what;
    }
}

TEST(CodexComposer, KnowsItsButtonsByTheirLabels) {
    for (const auto* submit : {"Send", "送信", "Queue", "キューに追加", "Steer", "今すぐ反映", "Stop", "停止",
                               "Resume", "再開", "Save"})
        for (const auto* context : {"Add files and more", "ファイルなどを追加", "Add files"}) {
            auto page = composer();
            page.node(10).buttonLabels = {submit};
            page.node(11).buttonLabels = {context};
            const auto expected = std::string_view(submit) == "Save"         ? excluded
                                  : std::string_view(context) == "Add files" ? uncertain
                                                                             : verified;
            EXPECT_EQ(page.judged(), expected) << submit << context;
        }
    for (const auto* edit : {"Save", "Save changes", "Save & Submit", "Save and submit", "Cancel", "保存",
                             "変更を保存", "保存して送信", "キャンセル"})
        for (const auto* role : {"AXButton", "AXMenuButton", "AXPopUpButton", "AXCheckBox"}) {
            auto page = composer();
            page.add(12, role, 1, {edit});
            EXPECT_EQ(page.judged(), std::string_view(role) == "AXCheckBox" ? verified : excluded) << edit;
        }
}

TEST(CodexComposer, KeepsItsLimits) {
    for (const NodeID parent : {1, 12}) // The form, and a branch in it.
        for (const std::size_t children : {24, 25}) {
            auto page = composer();
            if (parent == 12) page.add(parent, "AXToolbar", 1);
            for (NodeID id = 20; page.children(parent).size() < children; ++id)
                page.add(id, "AXImage", parent);
            EXPECT_EQ(page.judged(), children > 24 ? excluded : verified) << parent << ' ' << children;
        }
    for (const NodeID ancestors : {64, 65}) {
        auto page = composer();
        page.raise(100, ancestors - 5); // Four ancestors lie below the window.
        EXPECT_EQ(page.judged(), ancestors > 64 ? excluded : verified) << ancestors;
        EXPECT_LE(page.nodeReads, 64U + 2U);
    }
    for (const std::size_t scopes : {8, 9}) { // Only the outermost holds what proves it.
        Page page;
        page.add(100, "AXWindow");
        page.add(101, "AXWebArea", 100);
        for (std::size_t i = 0; i < scopes; ++i)
            page.add(1 + static_cast<NodeID>(i), "AXGroup", i == 0 ? 101 : static_cast<NodeID>(i));
        page.add(0, "AXTextArea", static_cast<NodeID>(scopes));
        page.add(50, "AXButton", 1, {"Send"});
        page.add(51, "AXButton", 1, {"Add files and more"});
        EXPECT_EQ(page.judged(), scopes > 8 ? excluded : verified) << scopes;
    }
}

TEST(CodexComposer, IsAnEditableTextAreaOfItsKind) {
    const std::vector<std::string> editor{"a", "ProseMirror"}, other{"ProseMirror-focused"};
    EXPECT_TRUE(CodexComposerStructure::matchesEditor("AXTextArea", editor, true));
    EXPECT_FALSE(CodexComposerStructure::matchesEditor("AXTextField", editor, true));
    EXPECT_FALSE(CodexComposerStructure::matchesEditor("AXTextArea", other, true));
    EXPECT_FALSE(CodexComposerStructure::matchesEditor("AXTextArea", std::nullopt, true));
    EXPECT_FALSE(CodexComposerStructure::matchesEditor("AXTextArea", editor, false));
}
