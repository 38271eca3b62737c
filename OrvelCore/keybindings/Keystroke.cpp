#include "OrvelCore/keybindings/Keystroke.h"

#include <algorithm>

namespace orvel {

namespace {

constexpr struct {
    std::string_view name;
    bool StrokeModifiers::*modifier;
} modifierNames[] = {
    {"cmdorctrl", &StrokeModifiers::command}, {"commandorcontrol", &StrokeModifiers::command},
    {"command", &StrokeModifiers::command},   {"cmd", &StrokeModifiers::command},
    {"super", &StrokeModifiers::command},     {"ctrl", &StrokeModifiers::control},
    {"control", &StrokeModifiers::control},   {"alt", &StrokeModifiers::option},
    {"option", &StrokeModifiers::option},     {"shift", &StrokeModifiers::shift},
};

constexpr struct {
    std::string_view alias, key;
} keyAliases[] = {{"return", "enter"}, {"esc", "escape"}, {"del", "delete"}, {"spacebar", "space"}};

constexpr std::string_view keyNames[] = {"enter",  "escape", "tab",   "space",  "backspace", "delete",
                                         "insert", "home",   "end",   "pageup", "pagedown",  "up",
                                         "down",   "left",   "right", "plus",   "mouseback", "mouseforward"};

// Letters beyond ASCII stay as they are: some have a lower case within ASCII, and none of them is a key.
std::string lowercased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

// What stands before the last plus sign, if there is one, and behind it. As a key the sign is "plus".
struct Parts {
    std::optional<std::string_view> modifiers;
    std::string_view key;
};

Parts partsOf(std::string_view text) {
    if (text == "+") return {std::nullopt, "plus"};
    if (text.ends_with("++")) return {text.substr(0, text.size() - 2), "plus"};
    const auto sign = text.rfind('+');
    if (sign == text.npos) return {std::nullopt, text};
    return {text.substr(0, sign), text.substr(sign + 1)};
}

bool isFunctionKey(std::string_view key) {
    return key.size() > 1 && key[0] == 'f' &&
           std::all_of(key.begin() + 1, key.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isKey(std::string_view key) {
    const bool isPrintable = key.size() == 1 && key[0] >= '!' && key[0] <= '~';
    return isPrintable || isFunctionKey(key) ||
           std::find(std::begin(keyNames), std::end(keyNames), key) != std::end(keyNames);
}

// Whether the modifier is known and new.
bool add(std::string_view name, StrokeModifiers& modifiers) {
    const auto* known = std::find_if(std::begin(modifierNames), std::end(modifierNames),
                                     [&](const auto& entry) { return entry.name == name; });
    if (known == std::end(modifierNames) || modifiers.*known->modifier) return false;
    modifiers.*known->modifier = true;
    return true;
}

// Nothing if any of the names between plus signs is unknown or there twice, so that a long text ends early.
std::optional<StrokeModifiers> modifiersIn(std::string_view names) {
    StrokeModifiers modifiers;
    for (std::size_t from = 0;;) {
        const auto end = names.find('+', from);
        if (!add(names.substr(from, end - from), modifiers)) return std::nullopt;
        if (end == names.npos) return modifiers;
        from = end + 1;
    }
}

} // namespace

std::optional<Stroke> parseStroke(std::string_view text) {
    const auto lower = lowercased(text);
    auto [names, key] = partsOf(lower);
    for (const auto& [alias, meaning] : keyAliases)
        if (key == alias) key = meaning;
    if (!isKey(key)) return std::nullopt;

    const auto modifiers = names ? modifiersIn(*names) : StrokeModifiers();
    if (!modifiers) return std::nullopt;
    return Stroke{std::string(key), *modifiers};
}

} // namespace orvel
