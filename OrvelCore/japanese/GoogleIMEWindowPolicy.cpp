#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"

#include "OrvelCore/japanese/JapaneseLineBreakSource.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/keybindings/CodexKeybindingFile.h"

#include <algorithm>
#include <cmath>

namespace orvel::GoogleIMEWindowPolicy {

namespace {

bool isTimely(const Evidence& evidence) {
    const double times[] = {evidence.verificationStarted, evidence.observationStarted,
                            evidence.observationFinished, evidence.now};
    return std::all_of(std::begin(times), std::end(times), [](double time) { return std::isfinite(time); }) &&
           std::is_sorted(std::begin(times), std::end(times)) &&
           evidence.now - evidence.observationStarted <= observationLifetime;
}

bool holds(const Evidence& evidence) {
    return evidence.contextUnchanged && evidence.compatible && isTimely(evidence);
}

} // namespace

FixedWords nameOf(Decision decision) {
    switch (decision) {
    case Decision::confirmOriginalReturn: return "confirmOriginalReturn";
    case Decision::captureWithWindowEvidence: return "captureWithWindowEvidence";
    case Decision::stop: break;
    }
    return "stop";
}

bool isSupported(Profile profile, std::string_view version) {
    if (profile == Profile::claudeCode) return version == supportedClaudeVersion;
    return std::find(supportedCodexVersions.begin(), supportedCodexVersions.end(), version) !=
           supportedCodexVersions.end();
}

bool isCompatible(Profile profile, const Setting& setting) {
    return setting.imeVersion == supportedIMEVersion &&
           JapaneseLineBreakSource::matches(setting.sourceID, setting.mode, setting.type) &&
           isSupported(profile, setting.targetVersion) &&
           (setting.layoutID == "com.apple.keylayout.ABC" || setting.layoutID == "com.apple.keylayout.US");
}

Decision decide(const Evidence& evidence, bool endCaretWithoutSelection, OrvelReturnShortcut shortcut) {
    if (!holds(evidence)) return Decision::stop;
    switch (evidence.state) {
    case State::present:
        return shortcut == OrvelReturnShortcut::plain ? Decision::confirmOriginalReturn : Decision::stop;
    case State::absent:
        return endCaretWithoutSelection ? Decision::captureWithWindowEvidence : Decision::stop;
    case State::unavailable: break;
    }
    return Decision::stop;
}

bool allowsPreservingDraftNavigation(const Evidence& evidence, MarkedTextEvidence markedEvidence) {
    const bool deniesMarkedText =
        markedEvidence == MarkedTextEvidence::absent || markedEvidence == MarkedTextEvidence::unsupported;
    return deniesMarkedText && evidence.state == State::absent && holds(evidence);
}

bool allowsDefaultReturnKeybindings(std::optional<std::string_view> data, bool pathConfirmed) {
    const auto file = CodexKeybindingFile::read(data, pathConfirmed, false);
    if (!CodexCopyShortcutPolicy::assess(file).shortcut) return false;
    const auto* entries = std::get_if<CodexKeybindingFile::Entries>(&file);
    if (!entries) return false;
    bool togglesPlanMode = false;
    for (const auto& entry : *entries) {
        if (entry.command == CodexCopyShortcutPolicy::commandName) continue;
        if (entry.command != "composer.togglePlanMode" || entry.key != "Shift+Tab" || togglesPlanMode)
            return false;
        togglesPlanMode = true;
    }
    return true;
}

} // namespace orvel::GoogleIMEWindowPolicy
