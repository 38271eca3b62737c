#pragma once
// A composer tree in a table, with every read counted.

#include "OrvelCore/composers/ComposerTree.h"

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

    Node& node(NodeID id) { return entries[id].node; }
    std::vector<NodeID>& children(NodeID id) { return entries[id].children; }

    /// Adds groups, of which every tenth holds those behind it, beneath `parent`.
    void addBranches(NodeID parent, NodeID first, NodeID end) {
        for (NodeID id = first; id < end; ++id) {
            add(id, "AXGroup", parent);
            if (id % 10 == 0) parent = id;
        }
    }

    /// Puts this many groups between the window and what it holds.
    void raise(NodeID window, NodeID groups) {
        for (NodeID id = 200; id < 200 + groups; ++id) {
            node(window) = {"AXGroup", {}, id};
            window = id;
        }
        add(window, "AXWindow");
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
