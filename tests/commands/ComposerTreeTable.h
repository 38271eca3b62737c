#pragma once
// A composer tree in a table, with every read counted.

#include "OrvelCore/commands/ComposerTree.h"

#include <map>
#include <set>

namespace orvel {

template <typename Node, typename Tree = ComposerTree<Node>>
struct ComposerTreeTable : Tree {
    struct Entry {
        Node node;
        std::vector<NodeID> children;
    };
    std::map<NodeID, Entry> entries;
    std::set<NodeID> unreadable, childless; // Whose attributes, or children, cannot be read.
    std::size_t nodeReads = 0, childReads = 0;

    /// Adds an element beneath `parent`.
    Entry& add(NodeID id, std::string role, std::optional<NodeID> parent = {},
               std::vector<std::string> labels = {}) {
        auto& entry = entries[id];
        entry.node.role = std::move(role);
        entry.node.parent = parent;
        entry.node.buttonLabels = std::move(labels);
        if (parent) entries[*parent].children.push_back(id);
        return entry;
    }

    std::optional<NodeID> parentOfFocused() const { return entries.at(Tree::focused).node.parent; }

    std::optional<Node> readNode(NodeID id) override {
        ++nodeReads;
        const auto found = entries.find(id);
        if (found == entries.end() || unreadable.contains(id)) return std::nullopt;
        return found->second.node;
    }

    std::optional<std::vector<NodeID>> readChildren(NodeID id) override {
        ++childReads;
        const auto found = entries.find(id);
        if (found == entries.end() || childless.contains(id)) return std::nullopt;
        return found->second.children;
    }
};

} // namespace orvel
