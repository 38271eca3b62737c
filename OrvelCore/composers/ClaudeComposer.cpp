#include "OrvelCore/composers/ClaudeComposer.h"

#include "OrvelCore/composers/DiagnosticSummary.h"

#include <map>
#include <set>
#include <variant>

namespace orvel {

namespace {

using Diagnosis = ClaudeComposerDiagnosis;
using Tree = ClaudeComposerTree;

constexpr std::string_view editorRoles[] = {"AXTextArea", "AXTextField"};
constexpr std::string_view branchRoles[] = {"AXGroup", "AXRadioGroup"};
constexpr std::string_view leafRoles[] = {"AXTextArea", "AXStaticText",  "AXImage",      "AXLink",
                                          "AXCheckBox", "AXPopUpButton", "AXMenuButton", "AXRadioButton"};

// An ancestor below the web area.
struct Ancestor {
    NodeID id;
    std::string role;
};

// What an inspection found, or the diagnosis that ends it.
template <typename T>
using Found = std::variant<T, Diagnosis>;

template <typename T>
const Diagnosis* endOf(const Found<T>& found) {
    return std::get_if<Diagnosis>(&found);
}

// Walks from the parent up to the window, collects what lies below the nearest web area and rules out dialogs
// above it. `accepts` judges that web area.
template <typename Accepts>
Found<std::vector<Ancestor>> ancestorsBelowWebArea(std::optional<NodeID> parent, Tree& tree,
                                                   const Accepts& accepts) {
    std::vector<Ancestor> below;
    std::set<NodeID> seen{Tree::focused};
    bool metWebArea = false;
    for (std::size_t level = 1;; ++level) {
        if (!parent) return Diagnosis::ancestorChainEnded;
        if (!seen.insert(*parent).second) return Diagnosis::ancestorCycle;
        const auto node = tree.readNode(*parent);
        if (!node) return Diagnosis::ancestorReadFailed;
        tree.onAncestor(level, DiagnosticSummary::role(node->role));
        if (isDialog(node->role, node->subrole)) return Diagnosis::dialog;
        if (isBoundary(node->role)) break;
        if (!metWebArea) {
            if (node->role == "AXWebArea") {
                if (!accepts(*node)) return Diagnosis::unsupportedRoute;
                metWebArea = true;
            } else {
                below.push_back({*parent, node->role});
            }
        }
        if (level == maximumClaudeAncestors) return Diagnosis::ancestorDepthLimit;
        parent = node->parent;
    }
    if (!metWebArea) return Diagnosis::webAreaMissing;
    return below;
}

// Matches if the focused element and just one Send button lie in the scope, and nothing that speaks against
// it.
Diagnosis inspectCodeScope(NodeID scope, Tree& tree) {
    using namespace ClaudeCodeComposerIdentity;
    std::vector<NodeID> pending{scope};
    std::set<NodeID> seen;
    bool focus = false;
    std::size_t sendButtons = 0;
    while (!pending.empty()) {
        const auto id = pending.back();
        pending.pop_back();
        if (!seen.insert(id).second) return Diagnosis::unavailable;
        const auto node = tree.readNode(id);
        if (!node) return Diagnosis::unavailable;

        if (isDialog(node->role, node->subrole) || node->role == "AXWebArea") return Diagnosis::dialog;
        if (isOneOf(node->role, editorRoles)) {
            if (id != Tree::focused) return Diagnosis::ambiguousEditors;
            focus = true;
        } else if (node->role == "AXButton") {
            const auto& labels = node->buttonLabels;
            const auto removes = [](const std::string& label) { return label.starts_with("Remove "); };
            if (holdsOneOf(labels, ClaudeComposerIdentity::editingButtonLabels) ||
                std::any_of(labels.begin(), labels.end(), removes))
                return Diagnosis::messageEditor;
            if (holds(labels, sendButtonLabel)) ++sendButtons;
        }

        const auto children = tree.readChildren(id);
        if (!children || children->size() > maximumChildren) return Diagnosis::unavailable;
        pending.insert(pending.end(), children->rbegin(), children->rend());
        if (seen.size() + pending.size() > maximumElements) return Diagnosis::unavailable;
    }
    return focus && sendButtons == 1 ? Diagnosis::matchedCode : Diagnosis::sendButtonMissing;
}

// What a part of a regular chat holds.
struct Sight {
    bool focus = false, send = false;

    void add(const Sight& other) {
        focus |= other.focus;
        send |= other.send;
    }
};

class ChatScopes {
  public:
    explicit ChatScopes(Tree& tree) : tree(tree) {}

    /// What the scope with this number holds.
    Found<Sight> inspect(std::size_t scopeNumber, NodeID scope) {
        using namespace ClaudeComposerIdentity;
        number = scopeNumber;
        const auto children = tree.readChildren(scope);
        if (!children) return told(Diagnosis::unavailable, FixedWords("Child list unavailable"));
        if (children->size() > maximumChildren)
            return told(Diagnosis::sendButtonMissing, FixedWords("More than 12 children"));
        const auto found = sightOfChildren(scope, *children);
        if (const auto* sight = std::get_if<Sight>(&found))
            tell(DiagnosticText::of("Inspected {} elements / focus={} / Send={}", count, sight->focus,
                                    sight->send));
        return found;
    }

  private:
    Found<Sight> sightOfChildren(NodeID id, const std::vector<NodeID>& children) {
        sights[id] = std::nullopt;
        Sight sight;
        for (const auto child : children) {
            const auto found = sightOf(child);
            if (endOf(found)) return found;
            sight.add(std::get<Sight>(found));
        }
        sights[id] = sight;
        return sight;
    }

    Found<Sight> sightOf(NodeID id) {
        using namespace ClaudeComposerIdentity;
        if (const auto known = sights.find(id); known != sights.end()) {
            if (known->second) return *known->second;
            return told(Diagnosis::unavailable, FixedWords("Revisiting an element in an unfinished branch"));
        }
        if (count == maximumElements)
            return told(Diagnosis::unavailable, FixedWords("Total limit of 40 elements exceeded"));
        ++count;
        const auto node = tree.readNode(id);
        if (!node) return told(Diagnosis::unavailable, FixedWords("Child element unavailable"));
        const auto& role = node->role;
        if (isDialog(role, node->subrole) || role == "AXWebArea") return unsupported(role);
        const bool isEditor = isOneOf(role, editorRoles);
        if (isEditor && id != Tree::focused) return Diagnosis::ambiguousEditors;
        if (isOneOf(role, branchRoles)) {
            const auto children = tree.readChildren(id);
            if (!children || children->size() > maximumChildren)
                return told(Diagnosis::unavailable,
                            FixedWords("Branch children unavailable or more than 12"));
            return sightOfChildren(id, *children);
        }
        Sight sight{isEditor, false};
        if (role == "AXButton") {
            if (holdsOneOf(node->buttonLabels, editingButtonLabels)) return Diagnosis::messageEditor;
            sight.send = holdsOneOf(node->buttonLabels, sendButtonLabels);
        } else if (!isOneOf(role, leafRoles)) {
            return unsupported(role);
        }
        sights[id] = sight;
        return sight;
    }

    void tell(const DiagnosticText& words) { tree.report(DiagnosticText::of("scope{}: {}", number, words)); }

    Diagnosis told(Diagnosis diagnosis, const DiagnosticText& words) {
        tell(words);
        return diagnosis;
    }

    Diagnosis unsupported(const std::string& role) {
        return told(Diagnosis::unavailable,
                    DiagnosticText::of("Unsupported role={}", DiagnosticSummary::role(role)));
    }

    Tree& tree;
    std::size_t number = 0;
    std::size_t count = 0;                         // Elements within all scopes so far.
    std::map<NodeID, std::optional<Sight>> sights; // Empty while the branch is being walked.
};

} // namespace

FixedWords description(ClaudeComposerDiagnosis diagnosis) {
    using enum ClaudeComposerDiagnosis;
    switch (diagnosis) {
    case matched: return "Regular chat and nearby Send button: Match";
    case matchedCode: return "Existing Code conversation and nearby Send button: Match";
    case webAreaUnavailable: return "Nearest web area: Unavailable";
    case ancestorDepthLimit: return "Ancestor search: Depth limit reached";
    case ancestorCycle: return "Ancestor search: Cycle detected";
    case ancestorReadFailed: return "Ancestor search: Element read failed";
    case ancestorChainEnded: return "Ancestor search: Parent chain ended before Window / Application";
    case webAreaMissing: return "Ancestor search: Reached Window / Application without a web area";
    case unsupportedRoute: return "Nearest web area: Not a regular chat";
    case dialog: return "Editor in a dialog: Unsupported";
    case unavailable: return "Nearby structure: Unavailable or search limit reached";
    case messageEditor: return "Editor with Save/Cancel controls: Unsupported";
    case ambiguousEditors: return "Multiple nearby editors: Unsupported";
    case sendButtonMissing: break;
    }
    return "Nearby Send button: Unverified";
}

bool ClaudeCodeComposerIdentity::matchesEditor(std::string_view role, std::string_view description,
                                               bool editable) {
    return role == "AXTextArea" && description == editorDescription && editable;
}

ClaudeCodeInspection ClaudeCodeComposerIdentity::inspect(std::optional<NodeID> parent,
                                                         ClaudeComposerTree& tree) {
    std::optional<std::string> sessionID;
    const auto found = ancestorsBelowWebArea(parent, tree, [&](const ComposerNode& webArea) {
        const auto route = webArea.codeRoute.value_or(ClaudeCodeRoute{});
        sessionID = route.desktopSessionID;
        return route.kind == ClaudeCodeRoute::Kind::conversation;
    });
    if (const auto* end = endOf(found)) return {*end, {}};
    const auto& groups = std::get<std::vector<Ancestor>>(found);
    if (groups.size() < scopeLevel) return {Diagnosis::unavailable, {}};
    for (std::size_t i = 0; i < scopeLevel; ++i)
        if (groups[i].role != "AXGroup") return {Diagnosis::unavailable, {}};
    const auto diagnosis = inspectCodeScope(groups[scopeLevel - 1].id, tree);
    if (diagnosis != Diagnosis::matchedCode) return {diagnosis, {}};
    return {diagnosis, sessionID};
}

bool ClaudeComposerIdentity::matchesEditor(std::string_view role, const std::vector<std::string>& domClasses,
                                           bool editable) {
    return role == "AXTextArea" && holds(domClasses, "ProseMirror") && editable;
}

ClaudeComposerDiagnosis ClaudeComposerIdentity::inspect(std::optional<NodeID> parent,
                                                        ClaudeComposerTree& tree) {
    const auto found = ancestorsBelowWebArea(parent, tree, [](const ComposerNode& webArea) {
        return webArea.webRoute == ClaudeChatRoute::newChat ||
               webArea.webRoute == ClaudeChatRoute::conversation;
    });
    if (const auto* end = endOf(found)) return *end;
    const auto& chain = std::get<std::vector<Ancestor>>(found);
    ChatScopes scopes(tree);
    bool matched = false;
    for (std::size_t i = 0; i < std::min(chain.size(), maximumScopes); ++i) {
        if (chain[i].role != "AXGroup") continue;
        const auto inspected = scopes.inspect(i + 1, chain[i].id);
        if (const auto* end = endOf(inspected)) return *end;
        const auto& sight = std::get<Sight>(inspected);
        matched |= sight.focus && sight.send;
    }
    return matched ? Diagnosis::matched : Diagnosis::sendButtonMissing;
}

} // namespace orvel
