#include "OrvelCore/composers/CodexComposer.h"

#include <map>
#include <set>

namespace orvel {

namespace {

using Node = CodexComposerNode;
using Tree = ComposerTree<Node>;
using Children = std::vector<NodeID>;
using namespace CodexComposerStructure;

constexpr std::string_view editorRoles[] = {"AXTextArea", "AXTextField", "AXSearchField"};
constexpr std::string_view buttonRoles[] = {"AXButton", "AXMenuButton", "AXPopUpButton"};
constexpr std::string_view branchRoles[] = {"AXGroup", "AXForm", "AXToolbar", "AXRadioGroup"};
constexpr std::string_view leafRoles[] = {"AXStaticText",  "AXImage",      "AXLink",       "AXCheckBox",
                                          "AXPopUpButton", "AXMenuButton", "AXRadioButton"};
constexpr std::string_view scopeRoles[] = {"AXGroup", "AXForm"};

// What a scope was seen to hold.
struct Evidence {
    bool focus = false, submit = false, context = false;

    void add(const Evidence& other) {
        focus |= other.focus;
        submit |= other.submit;
        context |= other.context;
    }
    bool isHint() const { return focus && (submit || context); }
    bool isProof() const { return focus && submit && context; }
};

// The inspection cannot go on: what it has seen so far decides.
struct Ended {};

struct Excluded {};

bool isComposerClass(const std::string& name) {
    return name.starts_with("_composer_");
}

class Inspection {
  public:
    explicit Inspection(Tree& tree) : tree(tree) {}

    ComposerRecognition run(std::optional<NodeID> parent) try {
        climb(parent);
        for (std::size_t i = 0; i < std::min(chain.size(), mostScopes); ++i)
            if (proves(i)) return ComposerRecognition::verified;
        throw Ended();
    } catch (const Excluded&) {
        return ComposerRecognition::excluded;
    } catch (const Ended&) {
        return hint ? ComposerRecognition::uncertain : ComposerRecognition::excluded;
    }

  private:
    // Collects the ancestors below the web area; ends at the window above it.
    void climb(std::optional<NodeID> parent) {
        std::set<NodeID> seen{Tree::focused};
        bool metWebArea = false;
        for (std::size_t level = 0; level < mostAncestors; ++level) {
            if (!parent || !seen.insert(*parent).second) throw Ended();
            const Node& node = read(*parent);
            if (isDialog(node.role, node.subrole)) throw Excluded();
            if (isBoundary(node.role)) {
                if (!metWebArea) throw Ended();
                return;
            }
            if (node.role == "AXWebArea") {
                if (metWebArea) throw Excluded();
                metWebArea = true;
            } else if (!metWebArea) {
                chain.push_back(*parent);
                if (std::any_of(node.classes.begin(), node.classes.end(), isComposerClass)) {
                    composerScope = chain.size() - 1;
                    hint = true;
                }
            }
            parent = node.parent;
        }
        throw Ended();
    }

    bool proves(std::size_t position) {
        const auto scope = chain[position];
        if (!isOneOf(read(scope).role, scopeRoles)) return false;
        const auto evidence = evidenceIn(scope);
        inspected.emplace(scope, evidence);
        hint |= evidence.isHint();
        return evidence.isProof() && composerScope.value_or(position) == position;
    }

    Evidence evidenceIn(NodeID scope) {
        Evidence evidence;
        std::set<NodeID> seen{scope};
        Children pending;
        const auto join = [&](const Children& children) {
            pending.insert(pending.end(), children.rbegin(), children.rend());
        };
        for (join(childrenOf(scope)); !pending.empty();) {
            const auto id = pending.back();
            pending.pop_back();
            if (!seen.insert(id).second) throw Ended();
            if (id == Tree::focused) {
                evidence.focus = true;
            } else if (const auto inner = inspected.find(id); inner != inspected.end()) {
                evidence.add(inner->second);
            } else {
                const Node& node = read(id);
                evidence.add(evidenceOf(node));
                if (isOneOf(node.role, branchRoles)) join(childrenOf(id));
            }
        }
        return evidence;
    }

    // What one element beside the composer tells.
    static Evidence evidenceOf(const Node& node) {
        if (isDialog(node.role, node.subrole) || node.role == "AXWebArea") throw Excluded();
        if (isOneOf(node.role, editorRoles)) throw Excluded();
        if (isOneOf(node.role, buttonRoles)) {
            if (holdsOneOf(node.buttonLabels, editLabels)) throw Excluded();
            return {false, holdsOneOf(node.buttonLabels, submitLabels),
                    holdsOneOf(node.buttonLabels, contextLabels)};
        }
        if (!isOneOf(node.role, branchRoles) && !isOneOf(node.role, leafRoles)) throw Ended();
        return {};
    }

    const Node& read(NodeID id) {
        const auto known = nodes.find(id);
        if (known != nodes.end()) return known->second;
        if (nodes.size() + 1 >= mostElements) throw Ended();
        auto node = tree.readNode(id);
        if (!node) throw Ended();
        return nodes.emplace(id, std::move(*node)).first->second;
    }

    const Children& childrenOf(NodeID id) {
        const auto known = children.find(id);
        if (known != children.end()) return known->second;
        auto list = tree.readChildren(id);
        if (!list || list->size() > mostChildren) throw Ended();
        return children.emplace(id, std::move(*list)).first->second;
    }

    Tree& tree;
    std::map<NodeID, Node> nodes; // All but the focused element.
    std::map<NodeID, Children> children;
    std::map<NodeID, Evidence> inspected; // By scope.
    std::vector<NodeID> chain;
    std::optional<std::size_t> composerScope; // A position in the chain; the outermost if there are several.
    bool hint = false;
};

} // namespace

bool CodexComposerStructure::matchesEditor(std::string_view role,
                                           const std::optional<std::vector<std::string>>& classes,
                                           bool editable) {
    return role == "AXTextArea" && classes && holds(*classes, "ProseMirror") && editable;
}

ComposerRecognition CodexComposerStructure::inspect(std::optional<NodeID> parent,
                                                    ComposerTree<CodexComposerNode>& tree) {
    return Inspection(tree).run(parent);
}

} // namespace orvel
