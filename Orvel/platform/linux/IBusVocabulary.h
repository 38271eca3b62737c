#pragma once
// Input sources of Linux under the names that they would have on macOS, where their counterparts are known
// there. The others keep names of their own, so nothing is claimed of them.

#include "Orvel/desktop/InputSources.h"

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// A layout of XKB, by the names of its rules ("us", "dvorak").
struct XkbLayout {
    std::string name, variant;
    bool operator==(const XkbLayout&) const = default;
};

/// The plain American layout is "com.apple.keylayout.US"; "xkb.de.nodeadkeys" is another one. Those that can
/// begin a composition by a dead key are among the others.
std::string layoutIDOf(const XkbLayout& layout);

InputSource sourceOf(const XkbLayout& layout);

/// Of an engine of IBus, with the key of its input mode ("InputMode.Hiragana"), if it has one. Mozc is the
/// open form of Google Japanese Input, and has that one's names. Its direct input, which lets every key
/// through, is the Roman mode of macOS's own Japanese input. As long as its mode is unknown it has none. Of
/// the others it is not known whether they tell of all that they compose.
InputSource sourceOf(std::string_view engine, const std::optional<std::string>& mode);

/// The layout that an engine is ("xkb:us:dvorak:eng"); nothing for an input method.
std::optional<XkbLayout> layoutOf(std::string_view engine);

} // namespace orvel
