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

Words wordsOf(CodexKeybindingDisposition disposition) {
    switch (disposition) {
    case unconfirmed:
        return {"unconfirmed",
                "Codex settings location is unconfirmed. Japanese Return verification remains disabled."};
    case standard:
        return {"standard", "The confirmed settings have no send-key overrides or Shift+Return conflicts."};
    case customNonConflicting:
        return {"customNonConflicting",
                "Send keys are overridden, but the confirmed settings have no Shift+Return conflicts."};
    case conflicting:
        return {"conflicting",
                "Shift+Return is assigned to another action. Japanese Return verification is disabled."};
    case invalidJSON:
        return {"invalidJSON",
                "The keybindings format could not be read. Japanese Return verification is disabled."};
    case unknownSyntax:
        return {"unknownSyntax",
                "Unsupported keybindings prevent verification. Japanese Return verification is disabled."};
    case oversized:
        return {"oversized", "Keybindings exceed the read limit. Japanese Return verification is disabled."};
    case unreadable: break;
    }
    return {"unreadable",
            "The confirmed keybindings could not be read. Japanese Return verification is disabled."};
}

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
    return wordsOf(disposition).name;
}

FixedWords statusDescription(CodexKeybindingDisposition disposition) {
    return wordsOf(disposition).status;
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
