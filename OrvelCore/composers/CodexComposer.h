#pragma once
// Recognises the composer of a Codex conversation by the structure around the focused element.

#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/composers/ComposerTree.h"

namespace orvel {

struct CodexComposerNode {
    std::string role;
    std::optional<std::string> subrole;
    std::optional<NodeID> parent;
    std::vector<std::string> classes; ///< Of an AXGroup only.
    std::vector<std::string> buttonLabels;
};

namespace CodexComposerStructure {

/// The submit button has another label in each state of the agent.
inline constexpr std::string_view submitLabels[] = {"Send",       "送信", "Queue", "キューに追加", "Steer",
                                                    "今すぐ反映", "Stop", "停止",  "Resume",       "再開"};
inline constexpr std::string_view contextLabels[] = {"Add files and more", "ファイルなどを追加"};

/// Buttons beside the editor of an earlier message.
inline constexpr std::string_view editLabels[] = {
    "Save", "Save changes", "Save & Submit", "Save and submit", "Cancel",
    "保存", "変更を保存",   "保存して送信",  "キャンセル"};

inline constexpr std::size_t maximumAncestors = 64;
inline constexpr std::size_t maximumScopes = 8;
inline constexpr std::size_t maximumChildren = 24;
inline constexpr std::size_t maximumElements = 160; ///< Including the focused element, which isn't read.

/// Whether an element with these attributes may be the composer. Classes that could not be read are absent.
bool matchesEditor(std::string_view role, const std::optional<std::vector<std::string>>& classes,
                   bool editable);

/// Inspects the focused element, whose parent is `parent`. Reads at most 159 elements and the children of 157
/// of them, each once.
ComposerRecognition inspect(std::optional<NodeID> parent, ComposerTree<CodexComposerNode>& tree);

} // namespace CodexComposerStructure
} // namespace orvel
