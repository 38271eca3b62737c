#pragma once
// Whether the focused element is the composer of a Claude conversation, by the structure around it. There are
// two inspections: one for regular chats, one for existing Code conversations.

#include "OrvelCore/addresses/ClaudeRoutes.h"
#include "OrvelCore/composers/ComposerTree.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

namespace orvel {

struct ComposerNode {
    std::string role;
    std::optional<std::string> subrole;
    std::optional<NodeID> parent;
    std::vector<std::string> buttonLabels;    ///< Of an AXButton.
    std::optional<ClaudeChatRoute> webRoute;  ///< Of an AXWebArea.
    std::optional<ClaudeCodeRoute> codeRoute; ///< Of an AXWebArea.
};

/// What the inspections read, and what they tell on their way for diagnostics.
class ClaudeComposerTree : public ComposerTree<ComposerNode> {
  public:
    /// Told of every ancestor that was read, the parent being of level 1. The role is in the form of
    /// DiagnosticSummary.
    virtual void onAncestor(std::size_t level, const DiagnosticText& role) = 0;

    /// One line a scope.
    virtual void report(const DiagnosticText& line) = 0;
};

enum class ClaudeComposerDiagnosis {
    matched,
    matchedCode,
    webAreaUnavailable,
    ancestorDepthLimit,
    ancestorCycle,
    ancestorReadFailed,
    ancestorChainEnded,
    webAreaMissing,
    unsupportedRoute,
    dialog,
    unavailable,
    messageEditor,
    ambiguousEditors,
    sendButtonMissing
};

/// The words that diagnostics print.
FixedWords rawValue(ClaudeComposerDiagnosis diagnosis);

inline constexpr std::size_t mostClaudeAncestors = 64; ///< For both inspections.

struct ClaudeCodeInspection {
    ClaudeComposerDiagnosis diagnosis = ClaudeComposerDiagnosis::unavailable;
    std::optional<std::string> desktopSessionID; ///< If matched.
};

namespace ClaudeCodeComposerIdentity {

inline constexpr std::string_view editorDescription = "Prompt", sendButtonLabel = "Send";

inline constexpr std::size_t scopeLevel = 5;     ///< Which group above the editor is the scope.
inline constexpr std::size_t mostElements = 100; ///< In the scope, itself included.
inline constexpr std::size_t mostChildren = 100; ///< Of one element.

bool matchesEditor(std::string_view role, std::string_view description, bool editable);

/// Judges the focused element, whose parent is `parent`. At most 164 reads of elements and 100 of children.
ClaudeCodeInspection inspect(std::optional<NodeID> parent, ClaudeComposerTree& tree);

} // namespace ClaudeCodeComposerIdentity

namespace ClaudeComposerIdentity {

inline constexpr std::string_view sendButtonLabels[] = {"Send message", "Send Message", "メッセージを送信"};

/// Of what stands beside the editor of an earlier message, in Code conversations too.
inline constexpr std::string_view editingButtonLabels[] = {
    "Save", "Save changes", "Save & Submit", "Save and submit", "Cancel",
    "保存", "変更を保存",   "保存して送信",  "キャンセル"};

inline constexpr std::size_t mostScopes = 4;
inline constexpr std::size_t mostChildren = 12; ///< Of a scope or a branch.
inline constexpr std::size_t mostElements = 40; ///< Within all scopes, each counted once.

bool matchesEditor(std::string_view role, const std::vector<std::string>& domClasses, bool editable);

/// Judges the focused element, whose parent is `parent`. At most 104 reads of elements and 44 of children.
ClaudeComposerDiagnosis inspect(std::optional<NodeID> parent, ClaudeComposerTree& tree);

} // namespace ClaudeComposerIdentity
} // namespace orvel
