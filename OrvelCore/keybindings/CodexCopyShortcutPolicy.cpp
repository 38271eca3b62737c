#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"

#include "OrvelCore/keybindings/CodexKeybindingFile.h"

#include <algorithm>

namespace orvel {

namespace {

using enum CodexCopyShortcutDisposition;
using CodexCopyShortcutPolicy::commandName;

struct Words {
    FixedWords name, status;
};

Words wordsOf(CodexCopyShortcutDisposition disposition) {
    switch (disposition) {
    case unconfirmed:
        return {
            "unconfirmed",
            "Codex keybindings location is unconfirmed. The current conversation URL cannot be captured."};
    case standard:
        return {"standard",
                "The standard conversation URL copy shortcut is available in the confirmed settings."};
    case custom:
        return {"custom",
                "A supported custom shortcut can copy the conversation URL in the confirmed settings."};
    case disabled: return {"disabled", "The Codex conversation URL copy shortcut is disabled."};
    case conflicting:
        return {"conflicting",
                "The conversation URL copy shortcut conflicts with another action. It will not be used."};
    case ambiguous:
        return {"ambiguous", "Multiple shortcuts are assigned to conversation URL copying. A unique shortcut "
                             "cannot be selected."};
    case unsupportedShortcut:
        return {"unsupportedShortcut",
                "This conversation URL copy shortcut is unsupported. Command+Option+L with optional "
                "Shift/Control is supported."};
    case invalidJSON:
        return {"invalidJSON",
                "The Codex keybindings format could not be read. The URL copy action will not run."};
    case unknownSyntax:
        return {"unknownSyntax", "Unsupported keybindings prevent safe conversation URL copying."};
    case oversized: return {"oversized", "Codex keybindings exceed the read limit."};
    case unreadable: break;
    }
    return {"unreadable", "The confirmed Codex keybindings could not be read."};
}

const Stroke& standardStroke() {
    static const Stroke stroke{"l", {.command = true, .option = true}};
    return stroke;
}

bool isSupported(const Stroke& stroke) {
    return stroke.key == "l" && stroke.modifiers.command && stroke.modifiers.option;
}

CodexCopyShortcut shortcutOf(const StrokeModifiers& modifiers) {
    constexpr std::uint16_t keyCodeOfL = 37;
    return {keyCodeOfL, modifiers.command, modifiers.control, modifiers.option, modifiers.shift};
}

// What the file says of the strokes that copy, and of all others.
struct Bindings {
    explicit Bindings(const CodexKeybindingFile::Entries& entries) {
        for (const auto& entry : entries) {
            const bool copies = entry.command == commandName;
            if (!entry.key) {
                isUnbound = isUnbound || copies;
                continue;
            }
            const auto stroke = parseStroke(*entry.key);
            hasUnknownStroke = hasUnknownStroke || !stroke;
            if (!copies)
                ofOthers.push_back(stroke);
            else if (!ofCopying)
                ofCopying.emplace(stroke);
            else
                hasSeveral = hasSeveral || *ofCopying != stroke;
        }
    }

    bool isTakenByOthers(const Stroke& stroke) const {
        return std::find(ofOthers.begin(), ofOthers.end(), stroke) != ofOthers.end();
    }

    // The outer absence says that no entry copies, the inner one that its stroke is unknown.
    std::optional<std::optional<Stroke>> ofCopying;
    std::vector<std::optional<Stroke>> ofOthers;
    bool hasSeveral = false, isUnbound = false, hasUnknownStroke = false;
};

CodexCopyShortcutAssessment assessed(const CodexKeybindingFile::Entries& entries) {
    const Bindings bindings(entries);
    if (bindings.hasSeveral) return {ambiguous, {}};
    if (bindings.isUnbound) return {disabled, {}};
    if (bindings.hasUnknownStroke) return {unknownSyntax, {}};
    const auto stroke = bindings.ofCopying ? **bindings.ofCopying : standardStroke();
    if (!isSupported(stroke)) return {unsupportedShortcut, {}};
    if (bindings.isTakenByOthers(stroke)) return {conflicting, {}};
    return {stroke == standardStroke() ? standard : custom, shortcutOf(stroke.modifiers)};
}

} // namespace

FixedWords nameOf(CodexCopyShortcutDisposition disposition) {
    return wordsOf(disposition).name;
}

FixedWords statusDescription(CodexCopyShortcutDisposition disposition) {
    return wordsOf(disposition).status;
}

CodexCopyShortcutAssessment CodexCopyShortcutPolicy::assess(std::optional<std::string_view> data,
                                                            bool pathConfirmed, bool readFailed) {
    return assess(CodexKeybindingFile::read(data, pathConfirmed, readFailed));
}

CodexCopyShortcutAssessment CodexCopyShortcutPolicy::assess(const CodexKeybindingFile::Result& file) {
    if (const auto* fault = std::get_if<CodexKeybindingFault>(&file))
        return {dispositionOf<CodexCopyShortcutDisposition>(*fault), {}};
    return assessed(std::get<CodexKeybindingFile::Entries>(file));
}

} // namespace orvel
