// What a Return costs before anything is read: the longest texts, and the inspections at their limits over a
// tree in memory.

#include "OrvelCore/commands/ClaudeComposer.h"
#include "OrvelCore/commands/CodexComposer.h"
#include "OrvelCore/commands/OrvelCommand.h"

#include <benchmark/benchmark.h>

namespace orvel {
namespace {

void classify(benchmark::State& run, const std::string& head, const std::string& piece) {
    std::string text = head;
    while (text.size() + piece.size() <= OrvelCommand::maximumBytes) text += piece;
    for (auto _ : run) benchmark::DoNotOptimize(classified(text));
}
BENCHMARK_CAPTURE(classify, instructions, "/orvel ", "x")
    ->Name("command/classify/instructions")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(classify, blanks, "", " ")->Name("command/classify/blanks")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(classify, marks, "/orvel ", "\u0301")
    ->Name("command/classify/marks")
    ->Unit(benchmark::kMicrosecond);

// 63 ancestors of the editor within a window, the innermost with branches within branches that never end.
template <typename Node, typename Tree>
struct EndlessTree : Tree {
    static constexpr NodeID page = 62, window = 63;
    NodeID next = 1000;

    std::optional<Node> readNode(NodeID id) override {
        Node node;
        node.role = id == Tree::focused ? "AXTextArea" : id == page ? "AXWebArea" : "AXGroup";
        if (id == window) node.role = "AXWindow";
        if (id <= window) node.parent = id + 1;
        if constexpr (requires { node.webRoute; }) {
            node.webRoute = ClaudeChatRoute::conversation;
            node.codeRoute = ClaudeCodeRoute{ClaudeCodeRoute::Kind::conversation, "local"};
        }
        return node;
    }
    std::optional<std::vector<NodeID>> readChildren(NodeID) override { return std::vector{next++}; }
};

struct EndlessClaudeTree : EndlessTree<ComposerNode, ClaudeComposerTree> {
    void onAncestor(std::size_t, std::string_view) override {}
    void report(std::string_view) override {}
};

void inspectCodex(benchmark::State& run) {
    for (auto _ : run) {
        EndlessTree<CodexComposerNode, ComposerTree<CodexComposerNode>> tree;
        benchmark::DoNotOptimize(CodexComposerStructure::inspect(1, tree));
    }
}
BENCHMARK(inspectCodex)->Name("command/inspect/codex")->Unit(benchmark::kMicrosecond);

void inspectChat(benchmark::State& run) {
    for (auto _ : run) {
        EndlessClaudeTree tree;
        benchmark::DoNotOptimize(ClaudeComposerIdentity::inspect(1, tree));
    }
}
BENCHMARK(inspectChat)->Name("command/inspect/chat")->Unit(benchmark::kMicrosecond);

void inspectCode(benchmark::State& run) {
    for (auto _ : run) {
        EndlessClaudeTree tree;
        benchmark::DoNotOptimize(ClaudeCodeComposerIdentity::inspect(1, tree).diagnosis);
    }
}
BENCHMARK(inspectCode)->Name("command/inspect/code")->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace orvel
