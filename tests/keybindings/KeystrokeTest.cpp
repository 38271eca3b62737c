#include "OrvelCore/keybindings/Keystroke.h"

using namespace orvel;

namespace {

// Modifiers as capitals in the order command, control, option, shift, and the key; or "none".
std::string parsed(std::string_view text) {
    const auto stroke = parseStroke(text);
    if (!stroke) return "none";
    const auto& [command, control, option, shift] = stroke->modifiers;
    return std::string(command ? "M" : "") + (control ? "C" : "") + (option ? "O" : "") + (shift ? "S" : "") +
           "-" + stroke->key;
}

} // namespace

TEST(Keystroke, IsReadFromItsText) {
    const std::pair<std::string, std::string> cases[] = {
        {"Cmd+Alt+L", "MO-l"},
        {"CommandOrControl+Option+Shift+L", "MOS-l"},
        {"alt+COMMAND+l", "MO-l"},
        {"CmdOrCtrl+a", "M-a"},
        {"super+a", "M-a"},
        {"ctrl+control", "none"},
        {"Control+Alt+Shift+Cmd+~", "MCOS-~"},
        {"Shift+Return", "S-enter"},
        {"shift+enter", "S-enter"},
        {"esc", "-escape"},
        {"Del", "-delete"},
        {"spacebar", "-space"},
        {"MouseBack", "-mouseback"},
        {"!", "-!"},
        {"shift", "none"},
        // The plus sign is both a key and what separates.
        {"+", "-plus"},
        {"Ctrl++", "C-plus"},
        {"++", "none"},
        {"Ctrl+++", "none"},
        {"Ctrl+", "none"},
        {"Ctrl+plus+l", "none"},
        // Function keys have a number.
        {"f", "-f"},
        {"F1", "-f1"},
        {"f24", "-f24"},
        {"f1x", "none"},
        {"f-1", "none"},
        // What is unknown or twice there fails the whole.
        {"", "none"},
        {"Cmd + L", "none"},
        {"Cmd+Super+L", "none"},
        {"Alt+Option+L", "none"},
        {"Hyper+L", "none"},
        {"ll", "none"},
        {"\x7F", "none"},
        {std::string("\0", 1), "none"},
        {"é", "none"},
        // The sign for Kelvin has a k for its lower case.
        {"Cmd+\u212A", "none"},
        {"\u017Fhift+l", "none"},
        {"Cmd+K Cmd+L", "none"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(parsed(text), expected) << text;
}
