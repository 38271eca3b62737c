#include "Orvel/monitor/CodexKeybindingSettings.h"

#include "Orvel/desktop/Panels.h"
#include "Orvel/desktop/Settings.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"

#include <string_view>
#include <utility>

namespace orvel {

namespace {

constexpr std::string_view pathKey = "confirmedCodexKeybindingsPath";
constexpr std::string_view fileName = "/keybindings.json";

bool isValid(std::string_view path) {
    const bool climbs = path.find("/../") != std::string_view::npos || path.ends_with("/..");
    return path.starts_with('/') && path.ends_with(fileName) && !climbs &&
           path.find('\0') == std::string_view::npos;
}

} // namespace

CodexKeybindingSettings::CodexKeybindingSettings(const ChangeSignal& changes,
                                                 const CodexKeybindingNeeds& needs, std::string codexFolder)
    : needs(needs),
      reader(needs.loop, needs.sideQueue, needs.localFiles),
      codexFolder(std::move(codexFolder)),
      confirmed(changes),
      statusField(changes),
      shown(changes) {
    const auto stored = needs.settings.string(pathKey);
    if (stored && isValid(*stored)) confirmed = *stored;
    statusField = isConfirmed() ? DiagnosticText("The confirmed settings location is kept. Keybindings are "
                                                 "read again each time they are used.")
                                : statusDescription(CodexKeybindingDisposition::unconfirmed);
}

void CodexKeybindingSettings::confirm(const std::string& path) {
    if (!isValid(path)) {
        statusField = DiagnosticText(
            "Choose an absolute path to keybindings.json. The saved location was not changed.");
        return;
    }
    confirmed = standardizedPath(path);
    needs.settings.setString(pathKey, confirmed.get());
    statusField =
        DiagnosticText("Settings location confirmed. Keybindings are read again each time they are used.");
    refreshDisplay();
}

void CodexKeybindingSettings::choose() {
    const OpenPanel panel{
        .message =
            "If CODEX_HOME is customized, select the file in that folder. Settings will not be changed.",
        .folder = codexFolder,
        .showsHiddenFiles = true,
        .title = "Select the keybindings.json file Codex actually uses",
        .kind = OpenPanel::Kind::json};
    if (const auto path = needs.panels.choose(panel)) confirm(*path);
}

CodexKeybindingAssessment CodexKeybindingSettings::assessmentForUse() {
    const auto reading = read(keyTimeout);
    const auto assessment = CodexKeybindingPolicy::assess(reading.bytes, isConfirmed(), reading.failed);
    DiagnosticText status = statusDescription(assessment.disposition);
    if (isConfirmed() && reading.failed)
        status += DiagnosticText(" A local regular file must also be verified within the time limit.");
    statusField = std::move(status);
    return assessment;
}

CodexCopyShortcutAssessment CodexKeybindingSettings::copyAssessmentForUse() {
    const auto reading = read(ordinaryTimeout);
    return CodexCopyShortcutPolicy::assess(reading.bytes, isConfirmed(), reading.failed);
}

std::optional<FixedWords> CodexKeybindingSettings::googleOriginalReturnFailureForUse() {
    return originalReturnFailure(read(keyTimeout));
}

void CodexKeybindingSettings::refreshDisplay() {
    const auto reading = read(ordinaryTimeout);
    const auto keys = CodexKeybindingPolicy::assess(reading.bytes, isConfirmed(), reading.failed);
    const auto copying = CodexCopyShortcutPolicy::assess(reading.bytes, isConfirmed(), reading.failed);
    const auto failure = originalReturnFailure(reading);
    const FixedWords verified = "Verified the default Return binding for confirming Japanese composition.";
    shown = Display{.returnKeys = std::string(statusDescription(keys.disposition).view()),
                    .copyShortcut = std::string(statusDescription(copying.disposition).view()),
                    .japaneseReturn = std::string(failure.value_or(verified).view()),
                    .canCopy = copying.shortcut.has_value()};
}

LocalFiles::Reading CodexKeybindingSettings::read(MainLoop::Duration timeout) {
    return isConfirmed() ? reader.read(confirmed, timeout) : LocalFiles::Reading{};
}

std::optional<FixedWords>
CodexKeybindingSettings::originalReturnFailure(const LocalFiles::Reading& reading) const {
    if (!isConfirmed()) return FixedWords("The Codex keybindings location is not confirmed.");
    if (reading.failed) return FixedWords("Couldn't read Codex keybindings within the time limit.");
    if (!GoogleIMEWindowPolicy::allowsDefaultReturnKeybindings(reading.bytes, true))
        return FixedWords(
            "Codex keybindings contain an unsupported override for Japanese Return or an unreadable "
            "format.");
    return std::nullopt;
}

} // namespace orvel
