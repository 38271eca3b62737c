// What a Return costs before anything is read from another application: the longest texts and files, and the
// inspections at their limits over a tree in memory. Each input is the slowest of its kind that was found.

#include "OrvelCore/addresses/URLComponents.h"
#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/composers/ClaudeComposer.h"
#include "OrvelCore/composers/CodexComposer.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/keybindings/CodexKeybindingPolicy.h"

#include <numeric>

#include <benchmark/benchmark.h>

namespace orvel {
namespace {

// The head, and behind it as many pieces as leave room for the tail.
std::string filled(std::string text, std::string_view piece, std::string_view tail, std::size_t size) {
    while (text.size() + piece.size() + tail.size() <= size) text += piece;
    return text.append(tail);
}

void classify(benchmark::State& run, const char* head, const char* piece) {
    const auto text = filled(head, piece, "", OrvelCommand::maximumBytes);
    for (auto _ : run) benchmark::DoNotOptimize(classifyInput(text));
}
BENCHMARK_CAPTURE(classify, instructions, "/orvel ", "x")
    ->Name("command/classify/instructions")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(classify, blanks, "", " ")->Name("command/classify/blanks")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(classify, marks, "/orvel ", "\u0301")
    ->Name("command/classify/marks")
    ->Unit(benchmark::kMicrosecond);

// 63 ancestors of the editor within a window, and branches within branches that never end.
template <typename Node, typename Tree>
struct EndlessTree : Tree {
    static constexpr NodeID page = 62, window = 63;
    std::size_t childrenOfEach;
    NodeID next = 1000;

    explicit EndlessTree(std::size_t childrenOfEach) : childrenOfEach(childrenOfEach) {}

    std::optional<Node> readNode(NodeID id) override {
        Node node;
        node.role = id == Tree::focused ? "AXTextArea" : id == page ? "AXWebArea" : "AXGroup";
        if (id == window) node.role = "AXWindow";
        if (id <= window) node.parent = id + 1;
        if constexpr (requires { node.webRoute; }) {
            node.webRoute = ClaudeChatRoute::conversation;
            node.codeRoute.emplace("https://claude.ai/epitaxy/local_0f8fad5b-d9cb-469f-a165-70867728950e");
        }
        return node;
    }

    std::optional<std::vector<NodeID>> readChildren(NodeID) override {
        std::vector<NodeID> children(childrenOfEach);
        std::iota(children.begin(), children.end(), next);
        next += static_cast<NodeID>(childrenOfEach);
        return children;
    }
};

struct EndlessClaudeTree : EndlessTree<ComposerNode, ClaudeComposerTree> {
    using EndlessTree::EndlessTree;

    void onAncestor(std::size_t, const DiagnosticText&) override {}
    void report(const DiagnosticText&) override {}
};

void inspectCodex(benchmark::State& run) {
    for (auto _ : run) {
        EndlessTree<CodexComposerNode, ComposerTree<CodexComposerNode>> tree(
            CodexComposerStructure::maximumChildren);
        benchmark::DoNotOptimize(CodexComposerStructure::inspect(1, tree));
    }
}
BENCHMARK(inspectCodex)->Name("command/inspect/codex")->Unit(benchmark::kMicrosecond);

void inspectChat(benchmark::State& run) {
    for (auto _ : run) {
        EndlessClaudeTree tree(ClaudeComposerIdentity::maximumChildren);
        benchmark::DoNotOptimize(ClaudeComposerIdentity::inspect(1, tree));
    }
}
BENCHMARK(inspectChat)->Name("command/inspect/chat")->Unit(benchmark::kMicrosecond);

// With more children its limit of elements would come earlier.
void inspectCode(benchmark::State& run) {
    for (auto _ : run) {
        EndlessClaudeTree tree(1);
        benchmark::DoNotOptimize(ClaudeCodeComposerIdentity::inspect(1, tree).diagnosis);
    }
}
BENCHMARK(inspectCode)->Name("command/inspect/code")->Unit(benchmark::kMicrosecond);

void summariseRoute(benchmark::State& run) {
    const auto url = filled("https://claude.ai/", "a/", "", maximumURLSize);
    for (auto _ : run) benchmark::DoNotOptimize(urlStructure(url));
}
BENCHMARK(summariseRoute)->Name("command/route/summary")->Unit(benchmark::kMicrosecond);

// As many strokes as the largest file holds.
std::string largestKeybindings() {
    return filled("[", R"({"command":"","key":"a"},)", R"({"command":"","key":"a"}])",
                  CodexKeybindingFile::maximumBytes);
}

void assessSendKeys(benchmark::State& run) {
    const auto file = largestKeybindings();
    for (auto _ : run) benchmark::DoNotOptimize(CodexKeybindingPolicy::assess(file, true, false));
}
BENCHMARK(assessSendKeys)->Name("command/keybindings/send-keys")->Unit(benchmark::kMicrosecond);

void assessCopyShortcut(benchmark::State& run) {
    const auto file = largestKeybindings();
    for (auto _ : run) benchmark::DoNotOptimize(CodexCopyShortcutPolicy::assess(file, true, false));
}
BENCHMARK(assessCopyShortcut)->Name("command/keybindings/copy-shortcut")->Unit(benchmark::kMicrosecond);

void assessDefaultReturn(benchmark::State& run) {
    const auto file = largestKeybindings();
    for (auto _ : run)
        benchmark::DoNotOptimize(GoogleIMEWindowPolicy::allowsDefaultReturnKeybindings(file, true));
}
BENCHMARK(assessDefaultReturn)->Name("command/keybindings/default-return")->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace orvel
