#include "OrvelCore/composers/ClaudeComposer.h"

#include "OrvelCore/composers/DiagnosticSummary.h"

#include <array>
#include <map>
#include <set>

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

// Walks from the parent up to the window, collects what lies below the nearest web area and rules out dialogs
// above it. `accepts` judges that web area. Throws a Diagnosis if this cannot be the composer.
template <typename Accepts>
std::vector<Ancestor> ancestorsBelowWebArea(std::optional<NodeID> parent, Tree& tree,
                                            const Accepts& accepts) {
    std::vector<Ancestor> below;
    std::set<NodeID> seen{Tree::focused};
    bool metWebArea = false;
    for (std::size_t level = 1;; ++level) {
        if (!parent) throw Diagnosis::ancestorChainEnded;
        if (!seen.insert(*parent).second) throw Diagnosis::ancestorCycle;
        const auto node = tree.readNode(*parent);
        if (!node) throw Diagnosis::ancestorReadFailed;
        tree.onAncestor(level, DiagnosticSummary::role(node->role));
        if (isDialog(node->role, node->subrole)) throw Diagnosis::dialog;
        if (isBoundary(node->role)) break;
        if (!metWebArea) {
            if (node->role == "AXWebArea") {
                if (!accepts(*node)) throw Diagnosis::unsupportedRoute;
                metWebArea = true;
            } else {
                below.push_back({*parent, node->role});
            }
        }
        if (level == mostClaudeAncestors) throw Diagnosis::ancestorDepthLimit;
        parent = node->parent;
    }
    if (!metWebArea) throw Diagnosis::webAreaMissing;
    return below;
}

// Whether the focused element and just one Send button lie in the scope, and nothing that speaks against it.
void inspectCodeScope(NodeID scope, Tree& tree) {
    using namespace ClaudeCodeComposerIdentity;
    std::vector<NodeID> pending{scope};
    std::set<NodeID> seen;
    bool focus = false;
    std::size_t sendButtons = 0;
    while (!pending.empty()) {
        const auto id = pending.back();
        pending.pop_back();
        if (!seen.insert(id).second) throw Diagnosis::unavailable;
        const auto node = tree.readNode(id);
        if (!node) throw Diagnosis::unavailable;

        if (isDialog(node->role, node->subrole) || node->role == "AXWebArea") throw Diagnosis::dialog;
        if (isOneOf(node->role, editorRoles)) {
            if (id != Tree::focused) throw Diagnosis::ambiguousEditors;
            focus = true;
        } else if (node->role == "AXButton") {
            const auto& labels = node->buttonLabels;
            const auto removes = [](const std::string& label) { return label.starts_with("Remove "); };
            if (holdsOneOf(labels, ClaudeComposerIdentity::editingButtonLabels) ||
                std::any_of(labels.begin(), labels.end(), removes))
                throw Diagnosis::messageEditor;
            if (holds(labels, sendButtonLabel)) ++sendButtons;
        }

        const auto children = tree.readChildren(id);
        if (!children || children->size() > mostChildren) throw Diagnosis::unavailable;
        pending.insert(pending.end(), children->rbegin(), children->rend());
        if (seen.size() + pending.size() > mostElements) throw Diagnosis::unavailable;
    }
    if (!focus || sendButtons != 1) throw Diagnosis::sendButtonMissing;
}

// What a part of a regular chat was seen to hold.
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
    Sight inspect(std::size_t scopeNumber, NodeID scope) {
        using namespace ClaudeComposerIdentity;
        number = scopeNumber;
        const auto children = tree.readChildren(scope);
        if (!children) give(Diagnosis::unavailable, FixedWords("Child list unavailable"));
        if (children->size() > mostChildren)
            give(Diagnosis::sendButtonMissing, FixedWords("More than 12 children"));
        const auto sight = sightOfChildren(scope, *children);
        tell(
            DiagnosticText::of("Inspected {} elements / focus={} / Send={}", count, sight.focus, sight.send));
        return sight;
    }

  private:
    Sight sightOfChildren(NodeID id, const std::vector<NodeID>& children) {
        sights[id] = std::nullopt;
        Sight sight;
        for (const auto child : children) sight.add(sightOf(child));
        sights[id] = sight;
        return sight;
    }

    Sight sightOf(NodeID id) {
        using namespace ClaudeComposerIdentity;
        if (const auto known = sights.find(id); known != sights.end()) {
            if (known->second) return *known->second;
            give(Diagnosis::unavailable, FixedWords("Revisiting an element in an unfinished branch"));
        }
        if (count == mostElements)
            give(Diagnosis::unavailable, FixedWords("Total limit of 40 elements exceeded"));
        ++count;
        const auto node = tree.readNode(id);
        if (!node) give(Diagnosis::unavailable, FixedWords("Child element unavailable"));
        const auto& role = node->role;
        if (isDialog(role, node->subrole) || role == "AXWebArea") refuse(role);
        const bool isEditor = isOneOf(role, editorRoles);
        if (isEditor && id != Tree::focused) throw Diagnosis::ambiguousEditors;
        if (isOneOf(role, branchRoles)) {
            const auto children = tree.readChildren(id);
            if (!children || children->size() > mostChildren)
                give(Diagnosis::unavailable, FixedWords("Branch children unavailable or more than 12"));
            return sightOfChildren(id, *children);
        }
        Sight sight{isEditor, false};
        if (role == "AXButton") {
            if (holdsOneOf(node->buttonLabels, editingButtonLabels)) throw Diagnosis::messageEditor;
            sight.send = holdsOneOf(node->buttonLabels, sendButtonLabels);
        } else if (!isOneOf(role, leafRoles)) {
            refuse(role);
        }
        sights[id] = sight;
        return sight;
    }

    void tell(const DiagnosticText& words) { tree.report(DiagnosticText::of("scope{}: {}", number, words)); }

    [[noreturn]] void give(Diagnosis diagnosis, const DiagnosticText& words) {
        tell(words);
        throw diagnosis;
    }

    [[noreturn]] void refuse(const std::string& role) {
        give(Diagnosis::unavailable,
             DiagnosticText::of("Unsupported role={}", DiagnosticSummary::role(role)));
    }

    Tree& tree;
    std::size_t number = 0;
    std::size_t count = 0;                         // Elements within all scopes so far.
    std::map<NodeID, std::optional<Sight>> sights; // Empty while the branch is being walked.
};

Diagnosis inspectChat(std::optional<NodeID> parent, Tree& tree) {
    const auto chain = ancestorsBelowWebArea(parent, tree, [](const ComposerNode& webArea) {
        return webArea.webRoute == ClaudeChatRoute::newChat ||
               webArea.webRoute == ClaudeChatRoute::conversation;
    });
    ChatScopes scopes(tree);
    bool matched = false;
    for (std::size_t i = 0; i < std::min(chain.size(), ClaudeComposerIdentity::mostScopes); ++i) {
        if (chain[i].role != "AXGroup") continue;
        const auto sight = scopes.inspect(i + 1, chain[i].id);
        matched |= sight.focus && sight.send;
    }
    return matched ? Diagnosis::matched : Diagnosis::sendButtonMissing;
}

} // namespace

FixedWords rawValue(ClaudeComposerDiagnosis diagnosis) {
    static constexpr std::array<FixedWords, 14> words{
        "Regular chat and nearby Send button: Match",
        "Existing Code conversation and nearby Send button: Match",
        "Nearest web area: Unavailable",
        "Ancestor search: Depth limit reached",
        "Ancestor search: Cycle detected",
        "Ancestor search: Element read failed",
        "Ancestor search: Parent chain ended before Window / Application",
        "Ancestor search: Reached Window / Application without a web area",
        "Nearest web area: Not a regular chat",
        "Editor in a dialog: Unsupported",
        "Nearby structure: Unavailable or search limit reached",
        "Editor with Save/Cancel controls: Unsupported",
        "Multiple nearby editors: Unsupported",
        "Nearby Send button: Unverified"};
    return words.at(static_cast<std::size_t>(diagnosis));
}

bool ClaudeCodeComposerIdentity::matchesEditor(std::string_view role, std::string_view description,
                                               bool editable) {
    return role == "AXTextArea" && description == editorDescription && editable;
}

ClaudeCodeInspection ClaudeCodeComposerIdentity::inspect(std::optional<NodeID> parent,
                                                         ClaudeComposerTree& tree) try {
    std::optional<std::string> sessionID;
    const auto groups = ancestorsBelowWebArea(parent, tree, [&](const ComposerNode& webArea) {
        const auto route = webArea.codeRoute.value_or(ClaudeCodeRoute{});
        sessionID = route.desktopSessionID;
        return route.kind == ClaudeCodeRoute::Kind::conversation;
    });
    if (groups.size() < scopeLevel) return {Diagnosis::unavailable, {}};
    for (std::size_t i = 0; i < scopeLevel; ++i)
        if (groups[i].role != "AXGroup") return {Diagnosis::unavailable, {}};
    inspectCodeScope(groups[scopeLevel - 1].id, tree);
    return {Diagnosis::matchedCode, sessionID};
} catch (ClaudeComposerDiagnosis diagnosis) {
    return {diagnosis, {}};
}

bool ClaudeComposerIdentity::matchesEditor(std::string_view role, const std::vector<std::string>& domClasses,
                                           bool editable) {
    return role == "AXTextArea" && holds(domClasses, "ProseMirror") && editable;
}

ClaudeComposerDiagnosis ClaudeComposerIdentity::inspect(std::optional<NodeID> parent,
                                                        ClaudeComposerTree& tree) try {
    return inspectChat(parent, tree);
} catch (ClaudeComposerDiagnosis diagnosis) {
    return diagnosis;
}

} // namespace orvel
