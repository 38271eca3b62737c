#pragma once
// Recognises the composer of a Claude conversation by the structure around the focused element. There is one
// inspection for regular chats and one for existing Code conversations.

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

/// What the inspections read, and what they report for diagnostics as they go.
class ClaudeComposerTree : public ComposerTree<ComposerNode> {
  public:
    /// Called for every ancestor that was read; the parent has level 1. The role is written by
    /// DiagnosticSummary.
    virtual void onAncestor(std::size_t level, const DiagnosticText& role) = 0;

    /// Called with one line per scope.
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

/// The words for diagnostics.
FixedWords description(ClaudeComposerDiagnosis diagnosis);

inline constexpr std::size_t maximumClaudeAncestors = 64; ///< In both inspections.

struct ClaudeCodeInspection {
    ClaudeComposerDiagnosis diagnosis = ClaudeComposerDiagnosis::unavailable;
    std::optional<std::string> desktopSessionID; ///< If matched.
};

namespace ClaudeCodeComposerIdentity {

inline constexpr std::string_view editorDescription = "Prompt", sendButtonLabel = "Send";

inline constexpr std::size_t scopeLevel = 5; ///< The scope is the group this many levels above the editor.
inline constexpr std::size_t maximumElements = 100; ///< In the scope, including itself.
inline constexpr std::size_t maximumChildren = 100; ///< Of one element.

bool matchesEditor(std::string_view role, std::string_view description, bool editable);

/// Inspects the focused element, whose parent is `parent`. At most 164 reads of elements and 100 of children.
ClaudeCodeInspection inspect(std::optional<NodeID> parent, ClaudeComposerTree& tree);

} // namespace ClaudeCodeComposerIdentity

namespace ClaudeComposerIdentity {

inline constexpr std::string_view sendButtonLabels[] = {"Send message", "Send Message", "メッセージを送信"};

/// Buttons beside the editor of an earlier message, also in Code conversations.
inline constexpr std::string_view editingButtonLabels[] = {
    "Save", "Save changes", "Save & Submit", "Save and submit", "Cancel",
    "保存", "変更を保存",   "保存して送信",  "キャンセル"};

inline constexpr std::size_t maximumScopes = 4;
inline constexpr std::size_t maximumChildren = 12; ///< Of a scope or a branch.
inline constexpr std::size_t maximumElements = 40; ///< Within all scopes, each counted once.

bool matchesEditor(std::string_view role, const std::vector<std::string>& domClasses, bool editable);

/// Inspects the focused element, whose parent is `parent`. At most 104 reads of elements and 44 of children.
ClaudeComposerDiagnosis inspect(std::optional<NodeID> parent, ClaudeComposerTree& tree);

} // namespace ClaudeComposerIdentity
} // namespace orvel
