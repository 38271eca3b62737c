#pragma once
// What the candidate window of Google Japanese Input proves about a Return: in which versions, for how long,
// and what to do with the key.

#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/diagnostics/FixedWords.h"

#include <array>
#include <optional>
#include <string_view>

namespace orvel::GoogleIMEWindowPolicy {

/// The input method's application, and where it is installed.
inline constexpr auto imeBundleID = "com.google.inputmethod.Japanese";
inline constexpr auto imePath = "/Library/Input Methods/GoogleJapaneseInput.app";

inline constexpr std::string_view supportedIMEVersion = "3.34.6260";
inline constexpr std::array<std::string_view, 2> supportedCodexVersions{"26.1016.62342", "26.1021.31345"};
inline constexpr std::string_view supportedClaudeVersion = "3.6556.2";

/// How long an observation of the window stays valid, in seconds from its start.
inline constexpr double observationLifetime = 0.025;

enum class Profile { codex, claudeCode };

/// Whether the candidate window is on the screen.
enum class State { present, absent, unavailable };

enum class Decision { confirmOriginalReturn, captureWithWindowEvidence, stop };

/// The name of the case.
FixedWords nameOf(Decision decision);

/// What was installed and selected when the key was pressed.
struct Setting {
    std::string_view targetVersion;        ///< Of the agent's application.
    std::string_view sourceID, mode, type; ///< Of the input source.
    std::string_view imeVersion;
    std::string_view layoutID; ///< Of the keyboard layout underlying the input source.
};

/// Whether the window is understood beside this version of the agent's application.
bool isSupported(Profile profile, std::string_view version);

bool isCompatible(Profile profile, const Setting& setting);

/// An observation of the window and the circumstances in which it is used. All times are seconds of the same
/// clock.
struct Evidence {
    State state;
    double observationStarted, observationFinished;
    double verificationStarted; ///< When the facts around it began to be read.
    double now;
    bool contextUnchanged; ///< Nothing else changed since `verificationStarted`.
    bool compatible;       ///< `isCompatible`, checked again after the observation.
};

Decision decide(const Evidence& evidence, bool endCaretWithoutSelection, OrvelReturnShortcut shortcut);

/// Whether navigating in the agent's application keeps the draft. The editor must have reported no marked
/// text or no support for it; a failed read is not enough.
bool allowsPreservingDraftNavigation(const Evidence& evidence, MarkedTextEvidence markedEvidence);

/// Whether Codex's keybindings certainly leave Return, Shift+Return and the send keys alone. No data stands
/// for a file that does not exist. Stricter than CodexKeybindingPolicy: allows two known entries only.
bool allowsDefaultReturnKeybindings(std::optional<std::string_view> data, bool pathConfirmed);

} // namespace orvel::GoogleIMEWindowPolicy
