#include "OrvelCore/keybindings/CodexKeybindingPolicy.h"

#include "OrvelCore/keybindings/CodexKeybindingFile.h"

#include <algorithm>

namespace orvel {

namespace {

using enum CodexKeybindingDisposition;

constexpr std::string_view submitCommand = "composer.submit";

struct Words {
    FixedWords name, status;
};

// In the order of the cases.
constexpr Words words[] = {
    {"unconfirmed", "Codex settings location is unconfirmed. Japanese Return verification remains disabled."},
    {"standard", "The confirmed settings have no send-key overrides or Shift+Return conflicts."},
    {"customNonConflicting",
     "Send keys are overridden, but the confirmed settings have no Shift+Return conflicts."},
    {"conflicting", "Shift+Return is assigned to another action. Japanese Return verification is disabled."},
    {"invalidJSON", "The keybindings format could not be read. Japanese Return verification is disabled."},
    {"unknownSyntax",
     "Unsupported keybindings prevent verification. Japanese Return verification is disabled."},
    {"oversized", "Keybindings exceed the read limit. Japanese Return verification is disabled."},
    {"unreadable", "The confirmed keybindings could not be read. Japanese Return verification is disabled."},
};

CodexKeybindingDisposition dispositionOf(const CodexKeybindingFile::Entries& entries, bool hasCustomSubmit) {
    const Stroke shiftReturn{"enter", {.shift = true}};
    bool isConflicting = false;
    for (const auto& entry : entries) {
        if (!entry.key) continue;
        const auto stroke = parseStroke(*entry.key);
        if (!stroke) return unknownSyntax;
        isConflicting = isConflicting || stroke == shiftReturn;
    }
    if (isConflicting) return conflicting;
    return hasCustomSubmit ? customNonConflicting : standard;
}

} // namespace

FixedWords nameOf(CodexKeybindingDisposition disposition) {
    return words[static_cast<std::size_t>(disposition)].name;
}

FixedWords statusDescription(CodexKeybindingDisposition disposition) {
    return words[static_cast<std::size_t>(disposition)].status;
}

bool CodexKeybindingAssessment::allowsLineBreakProbe() const {
    return disposition == standard || disposition == customNonConflicting;
}

CodexKeybindingAssessment CodexKeybindingPolicy::assess(std::optional<std::string_view> data,
                                                        bool pathConfirmed, bool readFailed) {
    const auto file = CodexKeybindingFile::read(data, pathConfirmed, readFailed);
    if (const auto* fault = std::get_if<CodexKeybindingFault>(&file))
        return {dispositionOf<CodexKeybindingDisposition>(*fault)};
    const auto& entries = std::get<CodexKeybindingFile::Entries>(file);
    const bool hasCustomSubmit = std::any_of(
        entries.begin(), entries.end(), [](const auto& entry) { return entry.command == submitCommand; });
    return {dispositionOf(entries, hasCustomSubmit), hasCustomSubmit};
}

} // namespace orvel
