#pragma once
// Tells whether Codex's keybindings leave Shift+Return as a line break.

#include "OrvelCore/diagnostics/FixedWords.h"

#include <optional>
#include <string_view>

namespace orvel {

enum class CodexKeybindingDisposition {
    unconfirmed,
    standard,
    customNonConflicting,
    conflicting,
    invalidJSON,
    unknownSyntax,
    oversized,
    unreadable
};

/// The name of the case.
FixedWords nameOf(CodexKeybindingDisposition disposition);

/// The sentence for the user.
FixedWords statusDescription(CodexKeybindingDisposition disposition);

struct CodexKeybindingAssessment {
    CodexKeybindingDisposition disposition;
    bool hasCustomSubmit = false; ///< Whether the command that sends has an entry.

    /// Whether the settings are known to leave Shift+Return alone.
    bool allowsLineBreakProbe() const;

    bool operator==(const CodexKeybindingAssessment&) const = default;
};

namespace CodexKeybindingPolicy {

/// Judges the bytes of the file, or its absence.
CodexKeybindingAssessment assess(std::optional<std::string_view> data, bool pathConfirmed, bool readFailed);

} // namespace CodexKeybindingPolicy

} // namespace orvel
