// Codex's keybindings, and the strokes in them.

#include "Claim.h"

#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/keybindings/CodexCopyShortcutPolicy.h"
#include "OrvelCore/keybindings/CodexKeybindingPolicy.h"
#include "OrvelCore/keybindings/Keystroke.h"

#include <cstdint>

using namespace orvel;

namespace {

std::string textOf(const Stroke& stroke) {
    std::string text;
    if (stroke.modifiers.shift) text += "Shift+";
    if (stroke.modifiers.option) text += "Alt+";
    if (stroke.modifiers.control) text += "Ctrl+";
    if (stroke.modifiers.command) text += "Cmd+";
    return text + stroke.key;
}

void checkFile(std::string_view data) {
    const auto copying = CodexCopyShortcutPolicy::assess(data, true, false);
    using enum CodexCopyShortcutDisposition;
    const bool isUsable = copying.disposition == standard || copying.disposition == custom;
    claim(copying.shortcut.has_value() == isUsable, "exactly a usable shortcut is given");
    if (copying.shortcut)
        claim(copying.shortcut->keyCode == 37 && copying.shortcut->command && copying.shortcut->option,
              "the shortcut is Command+Option+L with something more");

    const auto sendKeys = CodexKeybindingPolicy::assess(data, true, false);
    if (GoogleIMEWindowPolicy::allowsDefaultReturnKeybindings(data, true))
        claim(copying.shortcut && sendKeys.disposition == CodexKeybindingDisposition::standard,
              "the strict test allows no more than both policies");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkFile(text);
    if (const auto stroke = parseStroke(text))
        claim(parseStroke(textOf(*stroke)) == stroke, "a stroke survives being written again");
    return 0;
}
