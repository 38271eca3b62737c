#pragma once
// A key with its modifiers, as Codex's keybindings write it: "Cmd+Alt+L".

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

struct StrokeModifiers {
    bool command = false, control = false, option = false, shift = false;

    bool operator==(const StrokeModifiers&) const = default;
};

struct Stroke {
    std::string key; ///< Lower case and without aliases: "l", "enter", "f5", "plus".
    StrokeModifiers modifiers;

    bool operator==(const Stroke&) const = default;
};

/// The stroke that `text` writes, whatever the case of its ASCII letters; nothing if any part of it is
/// unknown.
std::optional<Stroke> parseStroke(std::string_view text);

} // namespace orvel
