#pragma once
// The one input source whose composition is understood: Google Japanese Input in Hiragana mode.

#include <string_view>

namespace orvel::JapaneseLineBreakSource {

inline constexpr std::string_view identifier = "com.google.inputmethod.Japanese.base";
inline constexpr std::string_view hiraganaMode = "com.apple.inputmethod.Japanese";
inline constexpr std::string_view inputModeType = "TISTypeKeyboardInputMode";

/// Whether an input source is that one.
constexpr bool matches(std::string_view id, std::string_view mode, std::string_view type) {
    return id == identifier && mode == hiraganaMode && type == inputModeType;
}

} // namespace orvel::JapaneseLineBreakSource
