#pragma once
// The current input source: a keyboard layout or an input method.

#include <optional>
#include <string>

namespace orvel {

/// The properties of an input source, each absent if it can't be read.
struct InputSource {
    std::optional<std::string> id;   ///< "com.apple.keylayout.ABC"
    std::optional<std::string> mode; ///< "com.apple.inputmethod.Japanese"; layouts have none.
    std::optional<std::string> type; ///< "TISTypeKeyboardLayout", "TISTypeKeyboardInputMode"
    std::optional<bool> isASCIICapable;
    /// Whether the input method itself tells of the editor with the keyboard if text is unconfirmed, so that
    /// an absent mark proves that none is. Where editors tell, as on macOS, it proves nothing.
    bool tellsComposition = false;

    bool operator==(const InputSource&) const = default;
};

/// Belongs to the main loop's thread. A read takes at most a millisecond.
class InputSources {
  public:
    virtual ~InputSources() = default;

    /// The selected source; nothing if it can't be read.
    virtual std::optional<InputSource> current() = 0;

    /// The identifier of the keyboard layout underlying that source.
    virtual std::optional<std::string> currentLayoutID() = 0;
};

} // namespace orvel
