#include "OrvelCore/commands/Keystroke.h"

#include <algorithm>
#include <vector>

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

std::vector<std::string_view> partsOf(std::string_view text) {
    std::vector<std::string_view> parts;
    for (std::size_t from = 0;;) {
        const auto end = text.find('+', from);
        parts.push_back(text.substr(from, end - from));
        if (end == text.npos) return parts;
        from = end + 1;
    }
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

} // namespace

std::optional<Stroke> parseStroke(std::string_view text) {
    const auto lower = lowercased(text);
    auto parts = partsOf(lower);
    if (lower == "+" || lower.ends_with("++")) {
        parts.resize(parts.size() - 2);
        parts.emplace_back("plus");
    }

    auto key = parts.back();
    parts.pop_back();
    for (const auto& [alias, meaning] : keyAliases)
        if (key == alias) key = meaning;
    if (!isKey(key)) return std::nullopt;

    Stroke stroke{std::string(key), {}};
    for (const auto part : parts)
        if (!add(part, stroke.modifiers)) return std::nullopt;
    return stroke;
}

} // namespace orvel
