#include "OrvelCore/commands/CodexComposer.h"
#include "ComposerTreeTable.h"

#include <gtest/gtest.h>

#include <functional>

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
    page.entries[11].node.buttonLabels.clear();
}

} // namespace

TEST(CodexComposer, IsRecognisedByWhatSurroundsIt) {
    const struct {
        const char* what;
        ComposerRecognition result;
        std::function<void(Page&)> change;
    } cases[] = {
        {"as it is", verified, [](Page&) {}},
        {"stop", verified,
         [](Page& p) {
             p.entries[10].node.buttonLabels = {"x", "停止"};
         }},
        {"no submit", uncertain, [](Page& p) { p.entries[10].node.buttonLabels = {"send"}; }},
        {"no context", uncertain, removeContext},
        {"neither", excluded, [](Page& p) { removeContext(p), p.entries[10].node.buttonLabels.clear(); }},
        {"context further out", verified,
         [](Page& p) { removeContext(p), p.add(12, "AXButton", 3, {"Add files and more"}); }},
        {"focus elsewhere", excluded,
         [](Page& p) {
             p.entries[1].children = {10, 11};
         }},
        {"cancel", excluded, [](Page& p) { p.add(12, "AXButton", 1, {"Cancel"}); }},
        {"second editor", excluded, [](Page& p) { p.add(12, "AXSearchField", 1); }},
        {"dialog within", excluded, [](Page& p) { p.add(12, "AXGroup", 1).node.subrole = "AXDialog"; }},
        {"page within", excluded, [](Page& p) { p.add(12, "AXWebArea", 1); }},
        {"unknown role", excluded, [](Page& p) { p.add(12, "AXTable", 1); }},
        {"unknown role further out", uncertain, [](Page& p) { removeContext(p), p.add(12, "AXTable", 2); }},
        {"unreadable child", excluded, [](Page& p) { p.unreadable = {10}; }},
        {"unreadable children", excluded, [](Page& p) { p.childless = {1}; }},
        {"child twice", excluded, [](Page& p) { p.entries[1].children.push_back(10); }},
        {"dialog above the page", excluded, [](Page& p) { p.entries[100].node.role = "AXSheet"; }},
        {"dialog above", excluded, [](Page& p) { p.entries[2].node.subrole = "AXSystemDialog"; }},
        {"page in a page", excluded, [](Page& p) { p.entries[3].node.role = "AXWebArea"; }},
        {"no page", excluded, [](Page& p) { p.entries[101].node.role = "AXGroup"; }},
        {"no window", excluded, [](Page& p) { p.entries[100].node.role = "AXGroup"; }},
        {"unreadable window", excluded, [](Page& p) { p.unreadable = {100}; }},
        {"circle above", excluded, [](Page& p) { p.entries[101].node.parent = 2; }},
        {"toolbar around", verified, [](Page& p) { p.entries[1].node.role = "AXToolbar"; }},
        {"hinted circle", uncertain,
         [](Page& p) { p.entries[3].node.classes = {"_composer_1"}, p.entries[101].node.parent = 2; }},
        {"hinted only", uncertain,
         [](Page& p) {
             p.entries[2].node.classes = {"a", "_composer_1"}, p.entries[1].children = {0};
         }},
        {"composer outside", verified, [](Page& p) { p.entries[2].node.classes = {"_composer_1"}; }},
        {"composer outside with cancel", excluded,
         [](Page& p) {
             p.entries[2].node.classes = {"_composer_1"}, p.add(12, "AXButton", 2, {"キャンセル"});
         }},
        {"no composer class", verified,
         [](Page& p) { p.entries[2].node.classes = {"x_composer_"}, p.add(12, "AXButton", 2, {"Cancel"}); }},
    };
    for (const auto& test : cases) {
        auto page = composer();
        test.change(page);
        EXPECT_EQ(rawValue(page.judged()), rawValue(test.result)) << test.what;
    }
}

TEST(CodexComposer, KeepsItsLimits) {
    for (const std::size_t children : {23, 24, 25}) {
        auto page = composer();
        for (NodeID id = 20; page.entries[1].children.size() < children; ++id) page.add(id, "AXImage", 1);
        EXPECT_EQ(page.judged(), children > 24 ? excluded : verified) << children;
    }
    for (const std::size_t children : {23, 24, 25}) { // Of a branch.
        auto page = composer();
        page.add(12, "AXToolbar", 1);
        for (NodeID id = 20; page.entries[12].children.size() < children; ++id) page.add(id, "AXImage", 12);
        EXPECT_EQ(page.judged(), children > 24 ? excluded : verified) << children;
    }
    for (const NodeID ancestors : {63, 64, 65}) {
        auto page = composer();
        NodeID above = 100; // Four ancestors lie below the window.
        for (NodeID id = 200; id < 200 + ancestors - 5; ++id) {
            page.entries[above].node = {"AXGroup", {}, id};
            above = id;
        }
        page.add(above, "AXWindow");
        EXPECT_EQ(page.judged(), ancestors > 64 ? excluded : verified) << ancestors;
        EXPECT_LE(page.nodeReads, 64U + 2U);
    }
    for (const std::size_t scopes : {7, 8, 9}) { // Only the outermost holds what proves it.
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

// A page with as many leaves as are wanted behind the proof, in branches of ten.
TEST(CodexComposer, ReadsNoMoreThanItsLimitWhateverTheTree) {
    for (const NodeID elements : {159, 160, 161, 5000}) {
        auto page = composer();
        NodeID branch = 0;
        for (NodeID known = 8; known < elements; ++known) {
            const NodeID id = 1000 + known;
            if ((known - 8) % 10 == 0) {
                page.add(id, "AXGroup", branch == 0 ? 1 : branch);
                branch = id;
            } else
                page.add(id, "AXGroup", branch);
        }
        EXPECT_EQ(page.judged(), elements > 160 ? excluded : verified) << elements;
        EXPECT_LE(page.nodeReads, 159U);
        EXPECT_LE(page.childReads, 159U);
        if (elements >= 160) {
            EXPECT_EQ(page.nodeReads, 159U);
        }
    }
}
