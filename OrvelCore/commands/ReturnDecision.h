#pragma once
// What becomes of a Return that somebody presses: which one counts, what is known of the input method's
// pending text, and whether the key goes on, is stopped, or is looked at more closely.

#include "OrvelCore/commands/OrvelCommand.h"
#include "OrvelCore/conversations/Agent.h"

#include <optional>
#include <string_view>

namespace orvel {

/// What the editor's marked-text attribute said.
enum class MarkedTextEvidence { marked, absent, unsupported, unavailable };

/// The name that diagnostics print.
FixedWords rawValue(MarkedTextEvidence evidence);

/// Whether text is pending in the input method.
class CompositionState {
  public:
    enum class Case { clear, composing, unknown };
    using enum Case;

    constexpr CompositionState(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    /// That no text is marked proves nothing unless the input source cannot compose at all: editors in web
    /// views don't tell of compositions reliably.
    static CompositionState resolve(MarkedTextEvidence evidence, bool knownASCIISource);

  private:
    Case value;
};

namespace KnownASCIISource {

/// Whether the input source is one of the few that are known never to compose.
bool matches(std::optional<std::string_view> id, std::optional<std::string_view> type, bool asciiCapable);

} // namespace KnownASCIISource

/// Modifier keys as a set of bits.
struct ReturnModifiers {
    static constexpr int command = 1, shift = 2, control = 4, option = 8, function = 16;
    int rawValue = 0;

    bool contains(int modifier) const { return (rawValue & modifier) != 0; }
    bool operator==(const ReturnModifiers&) const = default;
};

/// The chords that submit a command.
class OrvelReturnShortcut {
  public:
    enum class Case { plain, command };
    using enum Case;

    constexpr OrvelReturnShortcut(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    /// The chord of Return and these modifiers, if it is one.
    static std::optional<OrvelReturnShortcut> of(ReturnModifiers modifiers);

  private:
    Case value;
};

FixedWords rawValue(OrvelReturnShortcut shortcut);

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

FixedWords rawValue(ComposerRecognition recognition);

/// What happens to a Return before its composition is looked at.
class CommandEntryDisposition {
  public:
    enum class Case { forward, stop, inspect };
    using enum Case;

    constexpr CommandEntryDisposition(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    /// Stops what looks like the command in something that may be a conversation's editor and isn't proved to
    /// be, rather than risk that /orvel is sent as a message.
    static CommandEntryDisposition resolve(bool isCommand, std::optional<OrvelReturnShortcut> shortcut,
                                           ComposerRecognition recognition, bool contextValid);

  private:
    Case value;
};

/// What happens to the Return of a command in a proven composer.
class CommandReturnDecision {
  public:
    enum class Case { capture, confirmComposition, probeLineBreak, stop };
    using enum Case;

    constexpr CommandReturnDecision(Case value) : value(value) {}
    constexpr operator Case() const { return value; }

    struct Facts {
        CompositionState composition = CompositionState::unknown;
        bool knownJapaneseSource = false;
        bool safeLineBreak = false;
        bool endCaretWithoutSelection = false;
        OrvelReturnShortcut shortcut = OrvelReturnShortcut::plain;
        bool allowsCompositionConfirmation = false;
    };

    /// Only a plain Return may ever reach the input method.
    static CommandReturnDecision resolve(const Facts& facts);

  private:
    Case value;
};

} // namespace orvel
