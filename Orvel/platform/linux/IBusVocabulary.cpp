#include "Orvel/platform/linux/IBusVocabulary.h"

#include <algorithm>
#include <array>

namespace orvel {

namespace {

constexpr const char *keyboardLayout = "TISTypeKeyboardLayout", *inputMode = "TISTypeKeyboardInputMode";

// Layouts of xkeyboard-config that type ASCII's letters without a variant.
constexpr auto latinLayouts = std::to_array<std::string_view>(
    {"al",  "at", "au", "be",    "br", "ca", "ch", "cm", "cn", "cz", "de", "dk", "ee",
     "epo", "es", "fi", "fo",    "fr", "gb", "gh", "hr", "hu", "id", "ie", "is", "it",
     "jp",  "ke", "kr", "latam", "lt", "lv", "mt", "my", "ng", "nl", "no", "nz", "ph",
     "pl",  "pt", "ro", "se",    "si", "sk", "sn", "tr", "tw", "us", "vn", "za"});

struct Mode {
    std::string_view key, id, name;
    bool isASCII;
};
// Of Mozc. The first is known to compose nothing, and of the second it is known when its Returns confirm.
constexpr std::array modes{
    Mode{"InputMode.Direct", "com.apple.inputmethod.Kotoeri.RomajiTyping.Roman",
         "com.apple.inputmethod.Roman", true},
    Mode{"InputMode.Hiragana", "com.google.inputmethod.Japanese.base", "com.apple.inputmethod.Japanese",
         false},
    Mode{"InputMode.Katakana", "com.google.inputmethod.Japanese.Katakana",
         "com.apple.inputmethod.Japanese.Katakana", false},
    Mode{"InputMode.HalfWidthKatakana", "com.google.inputmethod.Japanese.HalfWidthKana",
         "com.apple.inputmethod.Japanese.HalfWidthKana", false},
    Mode{"InputMode.Latin", "com.google.inputmethod.Japanese.Roman", "com.apple.inputmethod.Roman", true},
    Mode{"InputMode.WideLatin", "com.google.inputmethod.Japanese.FullWidthRoman",
         "com.apple.inputmethod.Japanese.FullWidthRoman", false}};

} // namespace

std::string layoutIDOf(const XkbLayout& layout) {
    if (layout == XkbLayout{"us", ""}) return "com.apple.keylayout.US";
    return "xkb." + layout.name + (layout.variant.empty() ? "" : "." + layout.variant);
}

InputSource sourceOf(const XkbLayout& layout) {
    const bool isLatin =
        std::find(latinLayouts.begin(), latinLayouts.end(), layout.name) != latinLayouts.end();
    // Variants may type another script.
    return {.id = layoutIDOf(layout),
            .mode = std::nullopt,
            .type = keyboardLayout,
            .isASCIICapable = isLatin && layout.variant.empty()};
}

InputSource sourceOf(std::string_view engine, const std::optional<std::string>& mode) {
    if (const auto layout = layoutOf(engine)) return sourceOf(*layout);
    const bool isMozc = engine == "mozc" || engine.starts_with("mozc-");
    const auto known = std::find_if(modes.begin(), modes.end(),
                                    [&](const Mode& each) { return isMozc && mode && each.key == *mode; });
    if (known == modes.end())
        return {.id = std::string(engine), .mode = std::nullopt, .type = inputMode, .isASCIICapable = false};
    return {.id = std::string(known->id),
            .mode = std::string(known->name),
            .type = inputMode,
            .isASCIICapable = known->isASCII,
            .tellsComposition = true};
}

std::optional<XkbLayout> layoutOf(std::string_view engine) {
    static constexpr std::string_view prefix = "xkb:";
    if (!engine.starts_with(prefix)) return std::nullopt;
    engine.remove_prefix(prefix.size());
    const auto end = engine.find(':');
    if (end == 0 || end == engine.npos) return std::nullopt;
    const auto variant = engine.substr(end + 1);
    return XkbLayout{std::string(engine.substr(0, end)), std::string(variant.substr(0, variant.find(':')))};
}

} // namespace orvel
