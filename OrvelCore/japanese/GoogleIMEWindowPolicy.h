#pragma once
// What the candidate window of Google Japanese Input proves about a Return: in which versions, for how long,
// and what follows from it.

#include "OrvelCore/commands/ReturnDecision.h"
#include "OrvelCore/diagnostics/FixedWords.h"

#include <array>
#include <optional>
#include <string_view>

namespace orvel::GoogleIMEWindowPolicy {

inline constexpr std::string_view supportedIMEVersion = "3.34.6260";
inline constexpr std::array<std::string_view, 2> supportedCodexVersions{"26.1016.62342", "26.1021.31345"};
inline constexpr std::string_view supportedClaudeVersion = "3.6556.2";

/// How long an observation of the window counts, in seconds from its beginning.
inline constexpr double observationLifetime = 0.025;

enum class Profile { codex, claudeCode };

/// Whether the candidate window is on the screen.
enum class State { present, absent, unavailable };

enum class Decision { confirmOriginalReturn, captureWithWindowEvidence, stop };

/// The name of the case.
FixedWords nameOf(Decision decision);

/// What was installed and chosen when the key came.
struct Setting {
    std::string_view targetVersion;        ///< Of the agent's application.
    std::string_view sourceID, mode, type; ///< Of the input source.
    std::string_view imeVersion;
    std::string_view layoutID; ///< Of the keyboard layout through which the input source is typed.
};

bool isCompatible(Profile profile, const Setting& setting);

/// An observation of the window, and what is known of the moment in which it is used. All times are seconds
/// of one clock.
struct Evidence {
    State state;
    double observationStarted, observationFinished;
    double verificationStarted; ///< When the facts that it belongs to began to be read.
    double now;
    bool contextUnchanged; ///< Nothing else has changed since `verificationStarted`.
    bool compatible;       ///< `isCompatible`, asked again behind the observation.
};

Decision decide(const Evidence& evidence, bool endCaretWithoutSelection, OrvelReturnShortcut shortcut);

/// Whether moving about in the agent keeps the draft. The editor must have said that it holds no marked text,
/// or that it knows none; not that it could not be asked.
bool allowsPreservingDraftNavigation(const Evidence& evidence, MarkedTextEvidence markedEvidence);

/// Whether Codex's keybindings surely leave Return, Shift+Return and the send keys as they are. No data
/// stands for a file that does not exist. Stricter than CodexKeybindingPolicy: any entry but two known ones
/// is a doubt.
bool allowsDefaultReturnKeybindings(std::optional<std::string_view> data, bool pathConfirmed);

} // namespace orvel::GoogleIMEWindowPolicy
