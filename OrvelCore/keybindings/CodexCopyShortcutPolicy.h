#pragma once
// Finds the shortcut with which Codex copies the conversation's URL, if exactly one certainly does.

#include "OrvelCore/diagnostics/FixedWords.h"
#include "OrvelCore/keybindings/CodexKeybindingFile.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace orvel {

struct CodexCopyShortcut {
    std::uint16_t keyCode; ///< The key's place on the keyboard.
    bool command = false, control = false, option = false, shift = false;

    bool operator==(const CodexCopyShortcut&) const = default;
};

enum class CodexCopyShortcutDisposition {
    unconfirmed,
    standard,
    custom,
    disabled,
    conflicting,
    ambiguous,
    unsupportedShortcut,
    invalidJSON,
    unknownSyntax,
    oversized,
    unreadable
};

/// The name of the case.
FixedWords nameOf(CodexCopyShortcutDisposition disposition);

/// The sentence for the user.
FixedWords statusDescription(CodexCopyShortcutDisposition disposition);

struct CodexCopyShortcutAssessment {
    CodexCopyShortcutDisposition disposition;
    std::optional<CodexCopyShortcut> shortcut; ///< Only with `standard` and `custom`.

    bool operator==(const CodexCopyShortcutAssessment&) const = default;
};

namespace CodexCopyShortcutPolicy {

/// The command that copies the conversation's URL.
inline constexpr std::string_view commandName = "copyDeeplink";

inline constexpr std::string_view supportedAppVersion = "26.1016.62342";
/// The versions of Codex whose shortcut is known.
inline constexpr std::array<std::string_view, 2> supportedAppVersions{supportedAppVersion, "26.1021.31345"};

/// Judges the bytes of the file, or its absence.
CodexCopyShortcutAssessment assess(std::optional<std::string_view> data, bool pathConfirmed, bool readFailed);

/// Judges a file that was already read.
CodexCopyShortcutAssessment assess(const CodexKeybindingFile::Result& file);

} // namespace CodexCopyShortcutPolicy

} // namespace orvel
