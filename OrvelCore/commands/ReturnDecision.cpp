#include "OrvelCore/commands/ReturnDecision.h"

#include <algorithm>
#include <array>

namespace orvel {

FixedWords description(MarkedTextEvidence evidence) {
    switch (evidence) {
    case MarkedTextEvidence::marked: return "marked";
    case MarkedTextEvidence::absent: return "absent";
    case MarkedTextEvidence::unsupported: return "unsupported";
    case MarkedTextEvidence::unavailable: break;
    }
    return "unavailable";
}

CompositionState compositionState(MarkedTextEvidence evidence, bool knownASCIISource,
                                  bool isToldByInputMethod) {
    using enum CompositionState;
    switch (evidence) {
    case MarkedTextEvidence::marked: return composing;
    case MarkedTextEvidence::absent: return knownASCIISource || isToldByInputMethod ? clear : unknown;
    case MarkedTextEvidence::unsupported: return knownASCIISource ? clear : unknown;
    case MarkedTextEvidence::unavailable: break;
    }
    return unknown;
}

bool KnownASCIISource::matches(std::optional<std::string_view> id, std::optional<std::string_view> type,
                               bool asciiCapable) {
    static constexpr std::array<std::string_view, 2> layouts{"com.apple.keylayout.ABC",
                                                             "com.apple.keylayout.US"};
    static constexpr std::array<std::string_view, 2> romanModes{
        "com.apple.inputmethod.Kotoeri.KanaTyping.Roman", "com.apple.inputmethod.Kotoeri.RomajiTyping.Roman"};
    if (!asciiCapable || !type) return false;
    if (type == "TISTypeKeyboardLayout")
        return std::find(layouts.begin(), layouts.end(), id) != layouts.end();
    if (type == "TISTypeKeyboardInputMode")
        return std::find(romanModes.begin(), romanModes.end(), id) != romanModes.end();
    return false;
}

FixedWords description(OrvelReturnShortcut shortcut) {
    switch (shortcut) {
    case OrvelReturnShortcut::plain: return "Return";
    case OrvelReturnShortcut::command: break;
    }
    return "⌘Return";
}

std::optional<OrvelReturnShortcut> returnShortcut(ReturnModifiers modifiers) {
    if (modifiers.rawValue == 0) return OrvelReturnShortcut::plain;
    if (modifiers.rawValue == ReturnModifiers::command) return OrvelReturnShortcut::command;
    return std::nullopt;
}

std::string_view OrvelCommandPolicy::bundleID(Agent source) {
    return source == Agent::codex ? codexBundleID : claudeBundleID;
}

std::optional<Agent> OrvelCommandPolicy::source(std::optional<std::string_view> bundleID) {
    for (const auto agent : allAgents)
        if (bundleID == OrvelCommandPolicy::bundleID(agent)) return agent;
    return std::nullopt;
}

std::optional<OrvelCommand> OrvelCommandPolicy::command(std::optional<std::string_view> bundleID,
                                                        bool composerMatches, bool editable,
                                                        CompositionState composition,
                                                        std::optional<OrvelReturnShortcut> shortcut,
                                                        bool isRepeat, std::string_view editorText) {
    const bool passes = source(bundleID) && composerMatches && editable &&
                        composition == CompositionState::clear && shortcut && !isRepeat;
    return passes ? OrvelCommand::parse(editorText) : std::nullopt;
}

FixedWords description(ComposerRecognition recognition) {
    switch (recognition) {
    case ComposerRecognition::verified: return "Conversation editor structure verified";
    case ComposerRecognition::excluded: return "Not a conversation editor; excluded";
    case ComposerRecognition::uncertain: break;
    }
    return "Possible conversation editor; structure not fully verified";
}

CommandEntryDisposition commandEntryDisposition(bool isCommand, std::optional<OrvelReturnShortcut> shortcut,
                                                ComposerRecognition recognition, bool contextValid) {
    using enum CommandEntryDisposition;
    if (!shortcut || !isCommand || recognition == ComposerRecognition::excluded) return forward;
    if (recognition == ComposerRecognition::verified && contextValid) return inspect;
    return stop;
}

CommandReturnDecision commandReturnDecision(const CommandReturnFacts& facts) {
    using enum CommandReturnDecision;
    const bool isPlain = facts.shortcut == OrvelReturnShortcut::plain;
    switch (facts.composition) {
    case CompositionState::clear: return capture;
    case CompositionState::composing:
        return isPlain && facts.allowsCompositionConfirmation ? confirmComposition : stop;
    case CompositionState::unknown: break;
    }
    return isPlain && facts.knownJapaneseSource && facts.safeLineBreak && facts.endCaretWithoutSelection
               ? probeLineBreak
               : stop;
}

} // namespace orvel
