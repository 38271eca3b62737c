#include "Orvel/cli/KeybindingCheck.h"

#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/keybindings/CodexKeybindingFile.h"
#include "OrvelCore/keybindings/CodexKeybindingPolicy.h"

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

// Nothing for a file that does not exist. Of a file that is too large, as much as shows it.
std::optional<std::string> bytesOf(const std::string& path) try {
    constexpr auto limit = CodexKeybindingFile::maximumBytes;
    ReadableFile file(path);
    const auto bytes = FileBytes::read(file, limit);
    return bytes ? std::string(bytes->view()) : std::string(limit + 1, ' ');
} catch (const FileError& error) {
    if (error.kind() != FileError::Case::noSuchFile) throw;
    return std::nullopt;
}

struct Verdict {
    explicit Verdict(const std::optional<std::string>& data)
        : sendKeys(CodexKeybindingPolicy::assess(data, true, false)),
          copying(CodexCopyShortcutPolicy::assess(data, true, false)),
          allowsDefaultReturn(GoogleIMEWindowPolicy::allowsDefaultReturnKeybindings(data, true)) {}

    CodexKeybindingAssessment sendKeys;
    CodexCopyShortcutAssessment copying;
    bool allowsDefaultReturn;
};

Json jsonOf(const std::optional<CodexCopyShortcut>& shortcut) {
    if (!shortcut) return nullptr;
    return {{"keyCode", shortcut->keyCode},
            {"command", shortcut->command},
            {"control", shortcut->control},
            {"option", shortcut->option},
            {"shift", shortcut->shift}};
}

Json jsonOf(const Verdict& verdict) {
    const auto& [sendKeys, copying, allowsDefaultReturn] = verdict;
    return {{"sendKeys",
             {{"disposition", nameOf(sendKeys.disposition).view()},
              {"message", statusDescription(sendKeys.disposition).view()},
              {"hasCustomSubmit", sendKeys.hasCustomSubmit}}},
            {"copyShortcut",
             {{"disposition", nameOf(copying.disposition).view()},
              {"message", statusDescription(copying.disposition).view()},
              {"shortcut", jsonOf(copying.shortcut)}}},
            {"allowsDefaultReturn", allowsDefaultReturn}};
}

std::string linesOf(const Verdict& verdict, const Stylist& stylist) {
    const auto line = [&](std::string_view subject, std::string_view name, std::string_view message) {
        return std::string(subject) + stylist(TextStyle::strong, name) + "\n  " + std::string(message) + "\n";
    };
    const auto& [sendKeys, copying, allowsDefaultReturn] = verdict;
    return line("Send keys: ", nameOf(sendKeys.disposition), statusDescription(sendKeys.disposition)) +
           line("Copy shortcut: ", nameOf(copying.disposition), statusDescription(copying.disposition)) +
           line("Japanese Return: ", allowsDefaultReturn ? "allowed" : "stopped",
                allowsDefaultReturn
                    ? "Verified the default Return binding for confirming Japanese composition."
                    : "Codex keybindings contain an unsupported override for Japanese Return or an "
                      "unreadable format.");
}

} // namespace

std::optional<std::string> obstacleToCopying(const std::string& path) {
    const auto copying = CodexCopyShortcutPolicy::assess(bytesOf(path), true, false);
    return copying.shortcut ? std::nullopt
                            : std::optional(std::string(statusDescription(copying.disposition).view()));
}

void checkKeybindings(const Arguments& arguments, Output& output, const Stylist& stylist) {
    const auto data = bytesOf(arguments.subject);
    if (!data) output.writeError("There is no such file; without one Codex has its own shortcuts.\n");
    const Verdict verdict(data);
    output.write(arguments.json ? jsonOf(verdict).dump() + "\n" : linesOf(verdict, stylist));
}

} // namespace orvel
