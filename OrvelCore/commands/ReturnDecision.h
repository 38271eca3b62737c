#pragma once
// What becomes of a Return that somebody presses: which one counts, what is known of the input method's
// pending text, and whether the key goes on, is stopped, or is looked at more closely.

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/conversations/Agent.h"

#include <optional>
#include <string_view>

namespace orvel {

/// Whether text is pending in the input method.
enum class CompositionState { clear, composing, unknown };

/// What the editor's marked-text attribute said.
enum class MarkedTextEvidence { marked, absent, unsupported, unavailable };

/// The name that diagnostics print.
std::string_view rawValue(MarkedTextEvidence evidence);

/// That no text is marked proves nothing unless the input source cannot compose at all: editors in web views
/// don't tell of compositions reliably.
CompositionState compositionState(MarkedTextEvidence evidence, bool knownASCIISource);

namespace KnownASCIISource {

/// Whether the input source is one of the few that are known never to compose.
bool matches(std::optional<std::string_view> id, std::optional<std::string_view> type, bool asciiCapable);

} // namespace KnownASCIISource

/// Modifier keys as a set of bits.
struct ReturnModifiers {
    static constexpr int command = 1, shift = 2, control = 4, option = 8, function = 16;
    int rawValue = 0;
    bool operator==(const ReturnModifiers&) const = default;
};

/// The chords that submit a command.
enum class OrvelReturnShortcut { plain, command };

std::string_view rawValue(OrvelReturnShortcut shortcut);
std::optional<OrvelReturnShortcut> returnShortcut(ReturnModifiers modifiers);

namespace OrvelCommandPolicy {

inline constexpr std::string_view codexBundleID = "com.openai.codex";
inline constexpr std::string_view claudeBundleID = "com.anthropic.claudefordesktop";

std::string_view bundleID(Agent source);

/// The agent whose application this is, if any.
std::optional<Agent> source(std::optional<std::string_view> bundleID);

/// The command that a Return submits, or nothing: the whole gate in one place.
std::optional<OrvelCommand> command(std::optional<std::string_view> bundleID, bool composerMatches,
                                    bool editable, CompositionState composition,
                                    std::optional<OrvelReturnShortcut> shortcut, bool isRepeat,
                                    std::string_view editorText);

} // namespace OrvelCommandPolicy

/// Whether an editor is the composer of a conversation.
enum class ComposerRecognition { verified, excluded, uncertain };

std::string_view rawValue(ComposerRecognition recognition);

/// What happens to a Return before its composition is looked at.
enum class CommandEntryDisposition { forward, stop, inspect };

/// Stops what looks like the command in something that may be a conversation's editor and isn't proved to be,
/// rather than risk that /orvel is sent as a message.
CommandEntryDisposition entryDisposition(bool isCommand, std::optional<OrvelReturnShortcut> shortcut,
                                         ComposerRecognition recognition, bool contextValid);

/// What happens to the Return of a command in a proven composer.
enum class CommandReturnDecision { capture, confirmComposition, probeLineBreak, stop };

/// Facts about the Return of a command.
struct CommandReturnFacts {
    CompositionState composition = CompositionState::unknown;
    bool knownJapaneseSource = false;
    bool safeLineBreak = false;
    bool endCaretWithoutSelection = false;
    OrvelReturnShortcut shortcut = OrvelReturnShortcut::plain;
    bool allowsCompositionConfirmation = false;
};

/// Only a plain Return may ever reach the input method.
CommandReturnDecision returnDecision(const CommandReturnFacts& facts);

} // namespace orvel
