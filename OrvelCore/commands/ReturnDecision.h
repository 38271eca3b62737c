#pragma once
// Decides what happens to a Return key: whether it submits a command, whether the input method has text
// pending, and whether the key is forwarded, stopped or examined further.

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/conversations/Agent.h"

#include <optional>
#include <string_view>

namespace orvel {

/// What the editor's marked-text attribute reports.
enum class MarkedTextEvidence { marked, absent, unsupported, unavailable };

/// The word for diagnostics.
FixedWords description(MarkedTextEvidence evidence);

/// Whether text is pending in the input method.
enum class CompositionState { clear, composing, unknown };

/// Unmarked text proves nothing unless the input source can't compose at all, or says itself what it
/// composes: editors in web views don't report compositions reliably.
CompositionState compositionState(MarkedTextEvidence evidence, bool knownASCIISource,
                                  bool isToldByInputMethod = false);

namespace KnownASCIISource {

/// Whether the input source is one of the few known never to compose.
bool matches(std::optional<std::string_view> id, std::optional<std::string_view> type, bool asciiCapable);

} // namespace KnownASCIISource

/// Modifier keys as a set of bits.
struct ReturnModifiers {
    static constexpr int command = 1, shift = 2, control = 4, option = 8, function = 16;
    int rawValue = 0;

    bool contains(int modifier) const { return (rawValue & modifier) != 0; }
    bool operator==(const ReturnModifiers&) const = default;
};

/// The chords that submit a command: Return and ⌘Return.
enum class OrvelReturnShortcut { plain, command };

/// The chord as people write it.
FixedWords description(OrvelReturnShortcut shortcut);

/// The chord of Return with these modifiers; nothing if it submits no command.
std::optional<OrvelReturnShortcut> returnShortcut(ReturnModifiers modifiers);

namespace OrvelCommandPolicy {

inline constexpr std::string_view codexBundleID = "com.openai.codex";
inline constexpr std::string_view claudeBundleID = "com.anthropic.claudefordesktop";

std::string_view bundleID(Agent source);

/// The agent whose application has this identifier, if any.
std::optional<Agent> source(std::optional<std::string_view> bundleID);

/// The command that a Return submits; nothing if any of the conditions fails. All of them are checked here.
std::optional<OrvelCommand> command(std::optional<std::string_view> bundleID, bool composerMatches,
                                    bool editable, CompositionState composition,
                                    std::optional<OrvelReturnShortcut> shortcut, bool isRepeat,
                                    std::string_view editorText);

} // namespace OrvelCommandPolicy

/// Whether an editor is the composer of a conversation.
enum class ComposerRecognition { verified, excluded, uncertain };

/// The words for diagnostics.
FixedWords description(ComposerRecognition recognition);

/// What happens to a Return before its composition is examined.
enum class CommandEntryDisposition { forward, stop, inspect };

/// Stops what looks like the command in an editor that may be a composer but isn't proven to be one, rather
/// than risk sending /orvel as a message.
CommandEntryDisposition commandEntryDisposition(bool isCommand, std::optional<OrvelReturnShortcut> shortcut,
                                                ComposerRecognition recognition, bool contextValid);

/// What happens to the Return of a command in a proven composer.
enum class CommandReturnDecision { capture, confirmComposition, probeLineBreak, stop };

/// What a CommandReturnDecision depends on.
struct CommandReturnFacts {
    CompositionState composition = CompositionState::unknown;
    bool knownJapaneseSource = false;
    bool safeLineBreak = false;
    bool endCaretWithoutSelection = false;
    OrvelReturnShortcut shortcut = OrvelReturnShortcut::plain;
    bool allowsCompositionConfirmation = false;
};

/// Lets only a plain Return through to the input method.
CommandReturnDecision commandReturnDecision(const CommandReturnFacts& facts);

} // namespace orvel
