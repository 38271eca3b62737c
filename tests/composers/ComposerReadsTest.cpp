// How much one inspection reads at most, whatever the application answers.

#include "OrvelCore/composers/ClaudeComposer.h"
#include "OrvelCore/composers/CodexComposer.h"
#include "composers/ComposerTreeTable.h"

#include <random>

using namespace orvel;

namespace {

struct ClaudePage : ComposerTreeTable<ComposerNode, ClaudeComposerTree> {
    void onAncestor(std::size_t, const DiagnosticText&) override {}
    void report(const DiagnosticText&) override {}
};
using CodexPage = ComposerTreeTable<CodexComposerNode>;

void makeConversation(ComposerNode& node) {
    node.webRoute = ClaudeChatRoute::conversation;
    node.codeRoute = ClaudeCodeRoute("https://claude.ai/epitaxy/local_0f8fad5b-d9cb-469f-a165-70867728950e");
}
void makeConversation(CodexComposerNode&) {}

// The editor within groups 1, 2, 3 and so on, a page and a window: as many ancestors as `levels`. The first
// group holds, beside the editor, branches within branches, so that everything has children to be read.
template <typename Page>
Page nested(NodeID levels, NodeID branches) {
    Page page;
    page.add(levels, "AXWindow");
    makeConversation(page.add(levels - 1, "AXWebArea", levels).node);
    for (NodeID id = levels - 2; id > 0; --id) page.add(id, "AXGroup", id + 1);
    page.add(0, "AXTextArea", 1);
    page.addBranches(1, 1000, 1000 + branches);
    return page;
}

constexpr std::string_view roles[] = {"AXGroup", "AXGroup",    "AXGroup",   "AXGroup",  "AXForm",
                                      "AXGroup", "AXTextArea", "AXWebArea", "AXButton", "AXRadioGroup"};

// Elements that name each other as parents and children at random, and so hold circles and repetitions.
template <typename Page>
Page tangled(std::uint32_t seed) {
    std::mt19937 random(seed);
    const auto below = [&](NodeID bound) {
        return static_cast<NodeID>(random() % static_cast<std::uint32_t>(bound));
    };
    auto page = nested<Page>(5 + below(62), below(200));
    std::vector<NodeID> ids;
    for (const auto& [id, entry] : page.entries) ids.push_back(id);
    const auto any = [&] { return ids[static_cast<std::size_t>(below(static_cast<NodeID>(ids.size())))]; };
    for (NodeID changes = below(8); changes > 0; --changes) {
        auto& entry = page.entries[any()];
        switch (below(4)) {
        case 0: entry.node.role = roles[static_cast<std::size_t>(below(std::size(roles)))]; break;
        case 1: entry.node.parent = any(); break;
        case 2: entry.children.resize(static_cast<std::size_t>(below(200)), any()); break;
        default: entry.children.push_back(any());
        }
    }
    return page;
}

} // namespace

TEST(ComposerReads, KeepWithinTheirNumberInTangledTrees) {
    for (std::uint32_t seed = 0; seed < 3000; ++seed) {
        auto chat = tangled<ClaudePage>(seed), code = chat;
        ClaudeComposerIdentity::inspect(chat.parentOfFocused(), chat);
        EXPECT_LE(chat.nodeReads, 104U) << seed;
        EXPECT_LE(chat.childReads, 44U) << seed;
        ClaudeCodeComposerIdentity::inspect(code.parentOfFocused(), code);
        EXPECT_LE(code.nodeReads, 164U) << seed;
        EXPECT_LE(code.childReads, 100U) << seed;
        auto codex = tangled<CodexPage>(seed);
        CodexComposerStructure::inspect(codex.parentOfFocused(), codex);
        EXPECT_LE(codex.nodeReads, 159U) << seed;
        EXPECT_LE(codex.childReads, 157U) << seed;
    }
}
