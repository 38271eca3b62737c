#include "OrvelCore/composers/CodexComposer.h"

#include <map>
#include <set>
#include <variant>

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

// What ends an inspection early: nothing more can be learnt, so what was seen decides, or this is no
// composer.
enum class End { undecided, excluded };

template <typename T>
using Found = std::variant<T, End>;

bool isComposerClass(const std::string& name) {
    return name.starts_with("_composer_");
}

class Inspection {
  public:
    explicit Inspection(Tree& tree) : tree(tree) {}

    ComposerRecognition run(std::optional<NodeID> parent) {
        if (const auto end = climb(parent)) return judgement(*end);
        for (std::size_t i = 0; i < std::min(chain.size(), maximumScopes); ++i) {
            const auto found = proves(i);
            if (const auto* end = std::get_if<End>(&found)) return judgement(*end);
            if (std::get<bool>(found)) return ComposerRecognition::verified;
        }
        return judgement(End::undecided);
    }

  private:
    ComposerRecognition judgement(End end) const {
        return end == End::undecided && hint ? ComposerRecognition::uncertain : ComposerRecognition::excluded;
    }

    // Collects the ancestors below the web area, up to the window above it. Gives what ended it before.
    std::optional<End> climb(std::optional<NodeID> parent) {
        std::set<NodeID> seen{Tree::focused};
        bool metWebArea = false;
        for (std::size_t level = 0; level < maximumAncestors; ++level) {
            if (!parent || !seen.insert(*parent).second) return End::undecided;
            const auto* node = read(*parent);
            if (!node) return End::undecided;
            if (isDialog(node->role, node->subrole)) return End::excluded;
            if (isBoundary(node->role)) {
                if (!metWebArea) return End::undecided;
                return std::nullopt;
            }
            if (node->role == "AXWebArea") {
                if (metWebArea) return End::excluded;
                metWebArea = true;
            } else if (!metWebArea) {
                chain.push_back(*parent);
                if (std::any_of(node->classes.begin(), node->classes.end(), isComposerClass)) {
                    composerScope = chain.size() - 1;
                    hint = true;
                }
            }
            parent = node->parent;
        }
        return End::undecided;
    }

    Found<bool> proves(std::size_t position) {
        const auto scope = chain[position];
        if (!isOneOf(nodes.at(scope).role, scopeRoles)) return false;
        const auto found = evidenceIn(scope);
        if (const auto* end = std::get_if<End>(&found)) return *end;
        const auto& evidence = std::get<Evidence>(found);
        inspected.emplace(scope, evidence);
        hint |= evidence.isHint();
        return evidence.isProof() && composerScope.value_or(position) == position;
    }

    Found<Evidence> evidenceIn(NodeID scope) {
        Evidence evidence;
        std::set<NodeID> seen{scope};
        Children pending;
        if (!addChildren(scope, pending)) return End::undecided;
        while (!pending.empty()) {
            const auto id = pending.back();
            pending.pop_back();
            if (!seen.insert(id).second) return End::undecided;
            if (id == Tree::focused) {
                evidence.focus = true;
            } else if (const auto inner = inspected.find(id); inner != inspected.end()) {
                evidence.add(inner->second);
            } else {
                const auto* node = read(id);
                if (!node) return End::undecided;
                const auto found = evidenceOf(*node);
                if (std::holds_alternative<End>(found)) return found;
                evidence.add(std::get<Evidence>(found));
                if (isOneOf(node->role, branchRoles) && !addChildren(id, pending)) return End::undecided;
            }
        }
        return evidence;
    }

    // What one element beside the composer tells.
    static Found<Evidence> evidenceOf(const Node& node) {
        if (isDialog(node.role, node.subrole) || node.role == "AXWebArea") return End::excluded;
        if (isOneOf(node.role, editorRoles)) return End::excluded;
        if (isOneOf(node.role, buttonRoles)) {
            if (holdsOneOf(node.buttonLabels, editLabels)) return End::excluded;
            return Evidence{false, holdsOneOf(node.buttonLabels, submitLabels),
                            holdsOneOf(node.buttonLabels, contextLabels)};
        }
        if (!isOneOf(node.role, branchRoles) && !isOneOf(node.role, leafRoles)) return End::undecided;
        return Evidence{};
    }

    // Null if it can't be read or would be one too many.
    const Node* read(NodeID id) {
        const auto known = nodes.find(id);
        if (known != nodes.end()) return &known->second;
        if (nodes.size() + 1 >= maximumElements) return nullptr;
        auto node = tree.readNode(id);
        return node ? &nodes.emplace(id, std::move(*node)).first->second : nullptr;
    }

    // Puts the children on the stack, the first on top. False if they can't be read or are too many.
    bool addChildren(NodeID id, Children& pending) {
        auto known = children.find(id);
        if (known == children.end()) {
            auto list = tree.readChildren(id);
            if (!list || list->size() > maximumChildren) return false;
            known = children.emplace(id, std::move(*list)).first;
        }
        pending.insert(pending.end(), known->second.rbegin(), known->second.rend());
        return true;
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
